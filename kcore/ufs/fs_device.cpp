#include "kcore/ufs/fs_device.h"

#include "kcore/ufs/io_pump.h"

namespace kestrel {

bool fs_device_t::is_file(std::string_view path) {
    fs_stat_t found;
    return stat(path, found) && found.kind == fs_kind_t::file;
}

bool fs_device_t::is_directory(std::string_view path) {
    fs_stat_t found;
    return stat(path, found) && found.kind == fs_kind_t::directory;
}

fs_request_t fs_device_t::read_chunk(std::string_view, std::span<std::byte>, uint64_t) {
    return {};
}

bool fs_device_t::create_parent_directories(std::string_view path) {
    const size_t slash = path.find_last_of(path_separators);
    if (slash == std::string_view::npos || slash == 0)
        return true;
    return create_directories(path.substr(0, slash));
}

void fs_device_t::set_mount(std::string_view mount_point, uint16_t mount_id, uint32_t owner) {
    mount_point_.assign(mount_point);
    mount_id_ = mount_id;
    owner_ = owner;
}

} // namespace kestrel
