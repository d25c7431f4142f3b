#include "kcore/ufs/sysfs_device.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/sysfs_atomic_file.h"
#include "kcore/ufs/sysfs_file.h"

#include <new>

namespace kestrel {

sysfs_device_t::sysfs_device_t(std::string_view root, fs_platform_t &platform, fs_io_pump_t &pump)
    : fs_device_t(fs_device_kind_t::sysfs, root), platform_(platform), pump_(pump) {
    fs_stat_t found;
    if (!root.empty())
        set_available(platform_.stat_path(name().c_str(), found) && found.kind == fs_kind_t::directory);
}

// The root and the path, with the '/' between them that neither brings.
static bool compose(std::string_view root, std::string_view path, mstring_t &location) {
    if (path == "/")
        return location.assign(root.empty() ? path : root);
    if (root.empty() || path.empty())
        return location.assign(path.empty() ? root : path);
    if (path.front() == '/')
        return location.assign(root == "/" ? std::string_view() : root) && location.append(path);
    return location.assign(root) && (root == "/" || location.append("/")) && location.append(path);
}

bool sysfs_device_t::can_name(std::string_view path) const {
    fs_path_t location;
    return compose(name().view(), path, location);
}

bool sysfs_device_t::get_system_location(std::string_view path, mstring_t &location) const {
    fs_path_t fitting;
    if (!compose(name().view(), path, fitting)) {
        msg_error("[fs] path is longer than 255 bytes: '%s' (below '%s')", string_dyn_t(path).c_str(),
                  name().c_str());
        return false;
    }
    if (path.find('\0') != std::string_view::npos) {
        msg_error("[fs] path holds a NUL byte after '%s'", fitting.c_str());
        return false;
    }
    return location.assign(fitting);
}

std::unique_ptr<file_t> sysfs_device_t::open(std::string_view path, fs_open_mode_t mode) {
    if (mode == fs_open_mode_t::atomic)
        return sysfs_atomic_file_t::open(*this, path);
    return open_plain(path, mode);
}

std::unique_ptr<sysfs_file_t> sysfs_device_t::open_plain(std::string_view path, fs_open_mode_t mode) {
    fs_path_t location;
    if (!get_system_location(path, location))
        return nullptr;
    if (mode != fs_open_mode_t::read && !create_parent_directories(path))
        return nullptr;
    const fs_handle_t handle = platform_.open(location.c_str(), mode);
    if (handle == fs_handle_t::invalid)
        return nullptr;
    std::unique_ptr<sysfs_file_t> file(new (std::nothrow) sysfs_file_t(path, *this, handle));
    if (!file || file->name().view() != path) { // memory is short, perhaps of the name alone
        if (!file)
            platform_.close(handle);
        file.reset();
        // An empty file that nobody asked to see.
        if (mode == fs_open_mode_t::create || mode == fs_open_mode_t::create_truncate)
            platform_.delete_file(location.c_str());
        return nullptr;
    }
    file->set_path_kind(fs_path_kind_t::sysfs);
    return file;
}

bool sysfs_device_t::remove_file(std::string_view path) {
    fs_path_t location;
    return get_system_location(path, location) && platform_.delete_file(location.c_str());
}

bool sysfs_device_t::stat(std::string_view path, fs_stat_t &out) {
    fs_path_t location;
    if (!get_system_location(path, location) || !platform_.stat_path(location.c_str(), out))
        return false;
    out.device = this;
    return true;
}

bool sysfs_device_t::create_directories(std::string_view path) {
    if (path.empty())
        return true;
    fs_path_t location;
    if (!get_system_location(path, location))
        return false;
    // Nearly always the directory is there already: one question instead of a creation for every level.
    if (is_directory(path))
        return true;
    for (size_t slash = path.find('/', 1); slash != std::string_view::npos;
         slash = path.find('/', slash + 1)) {
        fs_path_t above;
        if (!get_system_location(path.substr(0, slash), above))
            return false;
        platform_.create_directory(above.c_str());
    }
    return platform_.create_directory(location.c_str());
}

bool sysfs_device_t::remove_directory(std::string_view path) {
    fs_path_t location;
    return get_system_location(path, location) && platform_.remove_directory(location.c_str());
}

bool sysfs_device_t::copy_file(std::string_view from, std::string_view to, bool overwrite) {
    fs_path_t source, target;
    return get_system_location(from, source) && get_system_location(to, target) &&
           platform_.copy_file(source.c_str(), target.c_str(), overwrite);
}

bool sysfs_device_t::move_file(std::string_view from, std::string_view to, bool replace) {
    fs_path_t source, target;
    return get_system_location(from, source) && get_system_location(to, target) &&
           platform_.move_file(source.c_str(), target.c_str(), replace);
}

std::optional<fs_listing_t> sysfs_device_t::list(std::string_view path) {
    fs_path_t location;
    if (!get_system_location(path, location))
        return std::nullopt;
    return platform_.list(location.c_str());
}

} // namespace kestrel
