#include "kcore/ufs/sysfs_device.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/sysfs_atomic_file.h"
#include "kcore/ufs/sysfs_file.h"

#include <algorithm>
#include <array>

namespace kestrel {

// The root and the path, with the '/' between them that neither brings. False when it does not fit.
static bool compose(std::string_view root, std::string_view path, mstring_t &location) {
    if (path == "/")
        return location.assign(root.empty() ? path : root);
    if (root.empty() || path.empty())
        return location.assign(path.empty() ? root : path);
    if (path.front() == '/')
        return location.assign(root == "/" ? std::string_view() : root) && location.append(path);
    return location.assign(root) && (root == "/" || location.append("/")) && location.append(path);
}

static bool climbs_out(std::string_view path) {
    int depth = 0;
    while (!path.empty()) {
        const std::string_view name = path.substr(0, path.find_first_of(path_separators));
        path.remove_prefix(std::min(name.size() + 1, path.size()));
        if (name == "..")
            --depth;
        else if (!name.empty() && name != ".")
            ++depth;
        if (depth < 0)
            return true;
    }
    return false;
}

sysfs_device_t::sysfs_device_t(std::string_view root, fs_platform_t &platform, fs_io_pump_t &pump)
    : fs_device_t(fs_device_kind_t::sysfs, root), platform_(platform), pump_(pump) {
    fs_stat_t found;
    if (!root.empty())
        set_available(platform_.stat_path(name().c_str(), found) == fs_reason_t::none &&
                      found.kind == fs_kind_t::directory);
}

bool sysfs_device_t::can_name(std::string_view path) const {
    fs_path_t location;
    return compose(name().view(), path, location);
}

bool sysfs_device_t::get_system_location(std::string_view path, mstring_t &location) const {
    fs_path_t fitting;
    if (path.find('\0') != std::string_view::npos) {
        compose(name().view(), path, fitting);
        return msg_error("[fs] path holds a NUL byte after '%s'", fitting.c_str());
    }
    if (!compose(name().view(), path, fitting))
        return msg_error("[fs] path is longer than 255 bytes: '%s' (below '%s')", string_dyn_t(path).c_str(),
                         name().c_str());
    return location.assign(fitting);
}

bool sysfs_device_t::locate_for_change(std::string_view path, fs_path_t &location) const {
    if (!get_system_location(path, location))
        return false;
    if (name().empty() || !climbs_out(path))
        return true;
    return msg_error("[fs] %s: leads out of its tree, left alone", location.c_str());
}

std::unique_ptr<file_t> sysfs_device_t::open(std::string_view path, fs_open_mode_t mode) {
    if (mode == fs_open_mode_t::atomic)
        return sysfs_atomic_file_t::open(*this, path);
    return open_plain(path, mode);
}

std::unique_ptr<sysfs_file_t> sysfs_device_t::open_plain(std::string_view path, fs_open_mode_t mode) {
    if (mode >= fs_open_mode_t::atomic)
        return nullptr;
    fs_path_t location;
    const bool changes = mode != fs_open_mode_t::read;
    if (!(changes ? locate_for_change(path, location) : get_system_location(path, location)))
        return nullptr;
    if (changes && !create_parent_directories(path))
        return nullptr;
    return open_at(location, path, mode);
}

std::unique_ptr<sysfs_file_t> sysfs_device_t::open_at(const fs_path_t &location, std::string_view path,
                                                      fs_open_mode_t mode) {
    auto file = std::make_unique<sysfs_file_t>(path, *this);
    const bool opened = mode == fs_open_mode_t::create_truncate
                            ? create_anew(*file, location)
                            : check_reason(file->open(location.c_str(), mode), location.c_str());
    if (!opened)
        return nullptr;
    file->set_path_kind(fs_path_kind_t::sysfs);
    return file;
}

// Another process may create the file between the removal and the creation; then it is removed again, so that
// every process writes a file of its own and the last name stays.
bool sysfs_device_t::create_anew(sysfs_file_t &file, const fs_path_t &location) {
    constexpr int tries = 1000;
    for (int i = 0; i < tries; ++i) {
        if (!remove_old_at(location))
            return false;
        const fs_reason_t reason = file.open(location.c_str(), fs_open_mode_t::create);
        if (reason != fs_reason_t::exists)
            return check_reason(reason, location.c_str());
    }
    return check_reason(fs_reason_t::would_block, location.c_str());
}

bool sysfs_device_t::check_replaceable(const fs_path_t &location, bool &there) {
    fs_stat_t found;
    const fs_reason_t reason = platform_.stat_path(location.c_str(), found);
    there = reason != fs_reason_t::not_found;
    if (!there)
        return true;
    if (!check_reason(reason, location.c_str()))
        return false;
    if (found.kind != fs_kind_t::file)
        msg_error("[fs] %s: not a regular file, left alone", location.c_str());
    return found.kind == fs_kind_t::file;
}

bool sysfs_device_t::remove_old_at(const fs_path_t &location) {
    bool there;
    if (!check_replaceable(location, there))
        return false;
    if (!there)
        return true;
    const fs_reason_t reason = platform_.delete_file(location.c_str());
    return reason == fs_reason_t::not_found || check_reason(reason, location.c_str());
}

bool sysfs_device_t::may_replace(std::string_view path) {
    fs_path_t location;
    bool there;
    return locate_for_change(path, location) && check_replaceable(location, there);
}

bool sysfs_device_t::remove_old(std::string_view path) {
    fs_path_t location;
    return locate_for_change(path, location) && remove_old_at(location);
}

bool sysfs_device_t::remove_file(std::string_view path) {
    fs_path_t location;
    return locate_for_change(path, location) &&
           check_reason(platform_.delete_file(location.c_str()), location.c_str());
}

bool sysfs_device_t::stat(std::string_view path, fs_stat_t &out) {
    fs_path_t location;
    if (!get_system_location(path, location) ||
        !check_reason(platform_.stat_path(location.c_str(), out), location.c_str()))
        return false;
    out.device = this;
    return true;
}

// A drive ("C:") needs no creation.
bool sysfs_device_t::create_directory(const fs_path_t &location) {
    if (location.view().ends_with(':'))
        return true;
    const fs_reason_t reason = platform_.create_directory(location.c_str());
    if (reason != fs_reason_t::exists && reason != fs_reason_t::refused)
        return check_reason(reason, location.c_str());
    fs_stat_t found;
    if (platform_.stat_path(location.c_str(), found) == fs_reason_t::none &&
        found.kind == fs_kind_t::directory)
        return true;
    if (reason == fs_reason_t::refused)
        msg_error("Create folder failed. Access denied. (%s)", location.c_str());
    return false;
}

bool sysfs_device_t::create_directories(std::string_view path) {
    if (path.empty())
        return true;
    fs_path_t location;
    if (!locate_for_change(path, location))
        return false;
    // Nearly always the directory is there already: one question instead of a creation for every level.
    if (is_directory(path))
        return true;
    for (size_t end = path.find_first_of(path_separators, 1); end != std::string_view::npos;
         end = path.find_first_of(path_separators, end + 1)) {
        fs_path_t above;
        if (!get_system_location(path.substr(0, end), above))
            return false;
        create_directory(above);
    }
    return create_directory(location);
}

bool sysfs_device_t::remove_directory(std::string_view path) {
    fs_path_t location;
    return locate_for_change(path, location) &&
           check_reason(platform_.remove_directory(location.c_str()), location.c_str());
}

static bool copy_bytes(file_t &from, file_t &to) {
    std::array<std::byte, 65536> storage;
    fs_stat_t source;
    if (!from.stat(source))
        return false;
    for (uint64_t position = 0; position < source.size;) {
        const std::span block(storage.data(), std::min<uint64_t>(source.size - position, storage.size()));
        if (!from.read_at(block, position) || !to.write_at(block, position))
            return false;
        position += block.size();
    }
    return to.close();
}

bool sysfs_device_t::copy_file(std::string_view from, std::string_view to, bool overwrite) {
    const auto source = open_plain(from, fs_open_mode_t::read);
    fs_path_t location;
    if (!source || !locate_for_change(to, location))
        return false;
    auto target = open_at(location, to, overwrite ? fs_open_mode_t::create_truncate : fs_open_mode_t::create);
    if (!target)
        return false;
    if (copy_bytes(*source, *target))
        return true;
    target.reset();
    remove_file(to);
    return false;
}

bool sysfs_device_t::move_file(std::string_view from, std::string_view to, bool replace) {
    fs_path_t source, target;
    return locate_for_change(from, source) && locate_for_change(to, target) &&
           check_reason(platform_.move_file(source.c_str(), target.c_str(), replace), target.c_str());
}

std::optional<fs_listing_t> sysfs_device_t::list(std::string_view path) {
    fs_path_t location;
    std::optional<fs_listing_t> entries(std::in_place);
    if (!get_system_location(path, location) ||
        !check_reason(platform_.list(location.c_str(), *entries), location.c_str()))
        return std::nullopt;
    return entries;
}

} // namespace kestrel
