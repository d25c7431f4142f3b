#include "tests/support/fake_platform.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace kestrel {

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

void fake_platform_t::add_device(const std::string &path) {
    add_directory(parent_of(path));
    const std::scoped_lock guard(mutex_);
    devices_.insert(path);
}

std::map<std::string, std::string> fake_platform_t::files() const {
    const std::scoped_lock guard(mutex_);
    std::map<std::string, std::string> all;
    for (const auto &[path, content] : files_)
        all[path] = *content;
    return all;
}

void fake_platform_t::spoil(size_t call, fault_t fault, fs_reason_t reason) {
    const std::scoped_lock guard(mutex_);
    call_count_ = 0;
    spoilt_call_ = call;
    fault_ = fault;
    spoilt_reason_ = reason;
    spoilt_.clear();
}

void fake_platform_t::let_transfers_go() {
    const std::scoped_lock guard(mutex_);
    holding_ = false;
    held_changed_.notify_all();
}

void fake_platform_t::wait_for_held_transfers(size_t count) {
    lock_t lock(mutex_);
    held_changed_.wait(lock, [&] { return held_ >= count; });
}

fs_reason_t fake_platform_t::note(const std::string &call) {
    calls_.push_back(call);
    ++call_count_;
    const bool reached =
        fault_ == fault_t::all_fail ? call_count_ >= spoilt_call_ : call_count_ == spoilt_call_;
    if (reached && (fault_ == fault_t::fails || fault_ == fault_t::all_fail)) {
        if (spoilt_.empty())
            spoilt_ = call;
        return spoilt_reason_;
    }
    for (const auto &[start, reason] : faults_)
        if (call.starts_with(start))
            return reason;
    return fs_reason_t::none;
}

template <class F>
fs_reason_t fake_platform_t::perform(const std::string &call, F operation) {
    const std::scoped_lock guard(mutex_);
    fs_reason_t reason = note(call);
    if (reason == fs_reason_t::none)
        reason = operation();
    end_operation();
    return reason;
}

template <class F>
fs_reason_t fake_platform_t::transfer(const std::string &call, size_t wanted, F operation) {
    lock_t lock(mutex_);
    const fs_reason_t reason = note(call);
    size_t most = std::min(wanted, most_bytes_);
    if (fault_ == fault_t::moves_less && call_count_ == spoilt_call_) {
        most = std::max<size_t>(most / 2, 1);
        spoilt_ = call;
    }
    most_held_ = std::max(most_held_, ++held_);
    held_changed_.notify_all();
    held_changed_.wait(lock, [this] { return !holding_; });
    --held_;
    if (reason == fs_reason_t::none)
        operation(most);
    end_operation();
    return reason;
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

fs_reason_t fake_platform_t::open(const char *path, fs_open_mode_t mode, fs_handle_t &handle) {
    const std::string name(path);
    return perform(std::string("open ") + fs_open_mode_name(mode) + " " + name, [&] {
        if (directories_.contains(name) || devices_.contains(name))
            return fs_reason_t::unsupported;
        const bool exists = files_.contains(name);
        if (exists && mode == fs_open_mode_t::create)
            return fs_reason_t::exists;
        if (!exists && (mode == fs_open_mode_t::read || !has_parent(name)))
            return fs_reason_t::not_found;
        if (!exists)
            files_[name] = std::make_shared<std::string>();
        open_files_[++next_handle_] = {name, files_[name]};
        handle = static_cast<fs_handle_t>(next_handle_);
        return fs_reason_t::none;
    });
}

// The handle goes in any case.
fs_reason_t fake_platform_t::close(fs_handle_t handle) {
    const std::scoped_lock guard(mutex_);
    const std::string path = path_of(handle);
    open_files_.erase(static_cast<intptr_t>(handle));
    return perform("close " + path, [] { return fs_reason_t::none; });
}

static std::string range_text(uint64_t position, size_t count) {
    return " " + std::to_string(position) + "+" + std::to_string(count);
}

fs_reason_t fake_platform_t::read(fs_handle_t handle, std::span<std::byte> buffer, uint64_t position,
                                  size_t &moved) {
    return transfer("read " + path_of(handle) + range_text(position, buffer.size()), buffer.size(),
                    [&](size_t most) {
                        const std::string &content = *file_of(handle).content;
                        moved = position < content.size() ? std::min(most, content.size() - position) : 0;
                        std::memcpy(buffer.data(), content.data() + (moved ? position : 0), moved);
                    });
}

fs_reason_t fake_platform_t::write(fs_handle_t handle, std::span<const std::byte> bytes, uint64_t position,
                                   size_t &moved) {
    return transfer("write " + path_of(handle) + range_text(position, bytes.size()), bytes.size(),
                    [&](size_t most) {
                        std::string &content = *file_of(handle).content;
                        moved = most;
                        content.resize(std::max<size_t>(content.size(), position + moved));
                        std::memcpy(content.data() + position, bytes.data(), moved);
                    });
}

fs_reason_t fake_platform_t::set_end_of_file(fs_handle_t handle, uint64_t size) {
    return perform("resize " + path_of(handle) + " " + std::to_string(size), [&] {
        file_of(handle).content->resize(size);
        return fs_reason_t::none;
    });
}

fs_reason_t fake_platform_t::flush_file(fs_handle_t handle) {
    return perform("flush " + path_of(handle), [] { return fs_reason_t::none; });
}

fs_reason_t fake_platform_t::flush_directory(const char *path) {
    return perform(std::string("flush_directory ") + path, [] { return fs_reason_t::none; });
}

static void describe_file(const std::string &content, fs_stat_t &out) {
    out.kind = fs_kind_t::file;
    out.size = out.stored_size = content.size();
}

fs_reason_t fake_platform_t::stat_file(fs_handle_t handle, fs_stat_t &out) {
    return perform("stat_file " + path_of(handle), [&] {
        describe_file(*file_of(handle).content, out);
        return fs_reason_t::none;
    });
}

fs_reason_t fake_platform_t::stat_path(const char *path, fs_stat_t &out) {
    return perform(std::string("stat ") + path, [&] {
        const auto file = files_.find(path);
        if (file != files_.end())
            describe_file(*file->second, out);
        else if (directories_.contains(path))
            out.kind = fs_kind_t::directory;
        else if (devices_.contains(path))
            out.kind = fs_kind_t::neither;
        else
            return fs_reason_t::not_found;
        return fs_reason_t::none;
    });
}

fs_reason_t fake_platform_t::delete_file(const char *path) {
    return perform(std::string("delete ") + path, [&] {
        return files_.erase(path) + devices_.erase(path) != 0 ? fs_reason_t::none : fs_reason_t::not_found;
    });
}

fs_reason_t fake_platform_t::create_directory(const char *path) {
    return perform(std::string("mkdir ") + path, [&] {
        if (files_.contains(path) || directories_.contains(path))
            return fs_reason_t::exists;
        if (!has_parent(path))
            return fs_reason_t::not_found;
        directories_.insert(path);
        return fs_reason_t::none;
    });
}

fs_reason_t fake_platform_t::remove_directory(const char *path) {
    return perform(std::string("rmdir ") + path, [&] {
        if (anything_below(path))
            return fs_reason_t::exists;
        return directories_.erase(path) != 0 ? fs_reason_t::none : fs_reason_t::not_found;
    });
}

fs_reason_t fake_platform_t::move_file(const char *from, const char *to, bool replace) {
    return perform(std::string("move ") + from + " " + to, [&] {
        if (!files_.contains(from))
            return fs_reason_t::not_found;
        if (files_.contains(to) && !replace)
            return fs_reason_t::exists;
        files_[to] = files_.at(from);
        files_.erase(from);
        return fs_reason_t::none;
    });
}

fs_reason_t fake_platform_t::list(const char *path, fs_listing_t &entries) {
    return perform(std::string("list ") + path, [&] {
        if (!directories_.contains(path))
            return fs_reason_t::not_found;
        std::map<std::string, fs_kind_t> kinds;
        for (const std::string &directory : directories_)
            kinds[directory] = fs_kind_t::directory;
        for (const auto &file : files_)
            kinds[file.first] = fs_kind_t::file;
        for (const auto &[name, kind] : kinds)
            if (parent_of(name) == path)
                entries.push_back({string_dyn_t(name.substr(name.rfind('/') + 1)), kind});
        return fs_reason_t::none;
    });
}

} // namespace kestrel
