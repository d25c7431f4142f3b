#include "tests/support/fake_platform.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace kestrel {

using outcome_t = fs_transfer_result_t::outcome_t;

static std::string parent_of(const std::string &path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos || slash == 0 ? "" : path.substr(0, slash);
}

void fake_platform_t::add_directory(const std::string &path) {
    if (path.empty())
        return;
    add_directory(parent_of(path));
    const std::scoped_lock guard(mutex_);
    directories_.insert(path);
}

void fake_platform_t::add_file(const std::string &path, std::string_view content) {
    add_directory(parent_of(path));
    const std::scoped_lock guard(mutex_);
    files_[path] = std::make_shared<std::string>(content);
}

bool fake_platform_t::has_file(const std::string &path) const {
    const std::scoped_lock guard(mutex_);
    return files_.contains(path);
}

bool fake_platform_t::has_directory(const std::string &path) const {
    const std::scoped_lock guard(mutex_);
    return directories_.contains(path);
}

std::string fake_platform_t::content(const std::string &path) const {
    const std::scoped_lock guard(mutex_);
    return *files_.at(path);
}

std::map<std::string, std::string> fake_platform_t::files() const {
    const std::scoped_lock guard(mutex_);
    std::map<std::string, std::string> all;
    for (const auto &[path, content] : files_)
        all[path] = *content;
    return all;
}

size_t fake_platform_t::open_file_count() const {
    const std::scoped_lock guard(mutex_);
    return open_files_.size();
}

std::vector<std::string> fake_platform_t::take_calls() {
    const std::scoped_lock guard(mutex_);
    return std::exchange(calls_, {});
}

void fake_platform_t::fail(const std::string &call) {
    const std::scoped_lock guard(mutex_);
    faults_.push_back(call);
}

void fake_platform_t::fail_no_more() {
    const std::scoped_lock guard(mutex_);
    faults_.clear();
}

void fake_platform_t::limit_transfers(size_t most) {
    const std::scoped_lock guard(mutex_);
    most_bytes_ = most;
}

void fake_platform_t::interrupt_transfers(size_t count) {
    const std::scoped_lock guard(mutex_);
    interruptions_ = count;
}

void fake_platform_t::hold_transfers() {
    const std::scoped_lock guard(mutex_);
    holding_ = true;
}

void fake_platform_t::let_transfers_go() {
    const std::scoped_lock guard(mutex_);
    holding_ = false;
    held_changed_.notify_all();
}

void fake_platform_t::wait_for_held_transfers(size_t count) {
    std::unique_lock lock(mutex_);
    held_changed_.wait(lock, [&] { return held_ >= count; });
}

size_t fake_platform_t::most_transfers_at_once() const {
    const std::scoped_lock guard(mutex_);
    return most_at_once_;
}

bool fake_platform_t::note(const std::string &call) {
    calls_.push_back(call);
    return std::none_of(faults_.begin(), faults_.end(),
                        [&](const std::string &fault) { return call.starts_with(fault); });
}

bool fake_platform_t::has_parent(const std::string &path) const {
    const std::string parent = parent_of(path);
    return parent.empty() || directories_.contains(parent);
}

bool fake_platform_t::anything_below(const std::string &path) const {
    const auto is_below = [&](const std::string &other) { return other.starts_with(path + "/"); };
    return std::any_of(directories_.begin(), directories_.end(), is_below) ||
           std::any_of(files_.begin(), files_.end(), [&](const auto &file) { return is_below(file.first); });
}

fake_platform_t::open_file_t &fake_platform_t::file_of(fs_handle_t handle) {
    const auto found = open_files_.find(static_cast<intptr_t>(handle));
    if (found == open_files_.end())
        throw std::logic_error("a handle that is not open");
    return found->second;
}

fs_handle_t fake_platform_t::open(const char *path, fs_open_mode_t mode) {
    const std::scoped_lock guard(mutex_);
    const std::string name(path);
    if (!note(std::string("open ") + fs_open_mode_name(mode) + " " + name) ||
        mode >= fs_open_mode_t::atomic || directories_.contains(name))
        return fs_handle_t::invalid;
    const bool exists = files_.contains(name);
    const bool creates = mode != fs_open_mode_t::read;
    if (exists ? mode == fs_open_mode_t::create : !creates || !has_parent(name))
        return fs_handle_t::invalid;
    if (!exists || mode == fs_open_mode_t::create_truncate)
        files_[name] = std::make_shared<std::string>();
    open_files_[++next_handle_] = {name, files_[name]};
    return static_cast<fs_handle_t>(next_handle_);
}

bool fake_platform_t::close(fs_handle_t handle) {
    const std::scoped_lock guard(mutex_);
    const bool closed = note("close " + file_of(handle).path);
    open_files_.erase(static_cast<intptr_t>(handle));
    return closed;
}

fs_transfer_result_t fake_platform_t::begin_transfer(std::unique_lock<std::mutex> &lock,
                                                     const std::string &call, size_t wanted) {
    const bool possible = note(call);
    most_at_once_ = std::max(most_at_once_, ++at_once_);
    ++held_;
    held_changed_.notify_all();
    held_changed_.wait(lock, [this] { return !holding_; });
    --held_;
    --at_once_;
    if (!possible)
        return {outcome_t::failed, 0};
    if (interruptions_ != 0) {
        --interruptions_;
        return {outcome_t::interrupted, 0};
    }
    return {outcome_t::moved, std::min(wanted, most_bytes_)};
}

static std::string range_text(uint64_t position, size_t count) {
    return " " + std::to_string(position) + "+" + std::to_string(count);
}

fs_transfer_result_t fake_platform_t::read(fs_handle_t handle, std::span<std::byte> buffer,
                                           uint64_t position) {
    std::unique_lock lock(mutex_);
    const open_file_t &file = file_of(handle);
    fs_transfer_result_t result =
        begin_transfer(lock, "read " + file.path + range_text(position, buffer.size()), buffer.size());
    const size_t size = file.content->size();
    result.count = position < size ? std::min<uint64_t>(result.count, size - position) : 0;
    std::memcpy(buffer.data(), file.content->data() + (result.count ? position : 0), result.count);
    return result;
}

fs_transfer_result_t fake_platform_t::write(fs_handle_t handle, std::span<const std::byte> bytes,
                                            uint64_t position) {
    std::unique_lock lock(mutex_);
    const open_file_t &file = file_of(handle);
    const fs_transfer_result_t result =
        begin_transfer(lock, "write " + file.path + range_text(position, bytes.size()), bytes.size());
    if (result.count == 0)
        return result;
    std::string &content = *file.content;
    content.resize(std::max<size_t>(content.size(), position + result.count));
    std::memcpy(content.data() + position, bytes.data(), result.count);
    return result;
}

bool fake_platform_t::set_end_of_file(fs_handle_t handle, uint64_t size) {
    const std::scoped_lock guard(mutex_);
    open_file_t &file = file_of(handle);
    if (!note("resize " + file.path + " " + std::to_string(size)))
        return false;
    file.content->resize(size);
    return true;
}

bool fake_platform_t::flush_file(fs_handle_t handle) {
    const std::scoped_lock guard(mutex_);
    return note("flush " + file_of(handle).path);
}

bool fake_platform_t::flush_directory(const char *path) {
    const std::scoped_lock guard(mutex_);
    return note(std::string("flush_directory ") + path);
}

static void describe_file(const std::string &content, fs_stat_t &out) {
    out.kind = fs_kind_t::file;
    out.size = out.stored_size = content.size();
}

bool fake_platform_t::stat_file(fs_handle_t handle, fs_stat_t &out) {
    const std::scoped_lock guard(mutex_);
    const open_file_t &file = file_of(handle);
    if (!note("stat_file " + file.path))
        return false;
    describe_file(*file.content, out);
    return true;
}

bool fake_platform_t::stat_path(const char *path, fs_stat_t &out) {
    const std::scoped_lock guard(mutex_);
    if (!note(std::string("stat ") + path))
        return false;
    if (directories_.contains(path)) {
        out.kind = fs_kind_t::directory;
        return true;
    }
    const auto file = files_.find(path);
    if (file == files_.end())
        return false;
    describe_file(*file->second, out);
    return true;
}

bool fake_platform_t::delete_file(const char *path) {
    const std::scoped_lock guard(mutex_);
    return note(std::string("delete ") + path) && files_.erase(path) != 0;
}

bool fake_platform_t::create_directory(const char *path) {
    const std::scoped_lock guard(mutex_);
    if (!note(std::string("mkdir ") + path) || files_.contains(path) || !has_parent(path))
        return false;
    directories_.insert(path);
    return true;
}

bool fake_platform_t::remove_directory(const char *path) {
    const std::scoped_lock guard(mutex_);
    return note(std::string("rmdir ") + path) && !anything_below(path) && directories_.erase(path) != 0;
}

bool fake_platform_t::copy_file(const char *from, const char *to, bool overwrite) {
    const std::scoped_lock guard(mutex_);
    if (!note(std::string("copy ") + from + " " + to) || !files_.contains(from) ||
        (files_.contains(to) && !overwrite))
        return false;
    files_[to] = std::make_shared<std::string>(*files_.at(from));
    return true;
}

bool fake_platform_t::move_file(const char *from, const char *to, bool replace) {
    const std::scoped_lock guard(mutex_);
    if (!note(std::string("move ") + from + " " + to) || !files_.contains(from) ||
        (files_.contains(to) && !replace))
        return false;
    files_[to] = files_.at(from);
    files_.erase(from);
    return true;
}

std::optional<fs_listing_t> fake_platform_t::list(const char *path) {
    const std::scoped_lock guard(mutex_);
    if (!note(std::string("list ") + path) || !directories_.contains(path))
        return std::nullopt;
    std::map<std::string, fs_kind_t> kinds;
    for (const std::string &directory : directories_)
        kinds[directory] = fs_kind_t::directory;
    for (const auto &file : files_)
        kinds[file.first] = fs_kind_t::file;
    fs_listing_t listing;
    for (const auto &[name, kind] : kinds)
        if (parent_of(name) == path) {
            fs_listing_entry_t entry;
            entry.name.assign(name.substr(name.rfind('/') + 1));
            entry.kind = kind;
            listing.push_back(std::move(entry));
        }
    return listing;
}

} // namespace kestrel
