#include "tools/kmg/file_bytes.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

namespace kestrel {

std::optional<std::vector<std::byte>> read_file(const std::string &path) {
    const auto file = file_system()->system_device.open(path, fs_open_mode_t::read);
    if (!file) {
        msg_error("%s: cannot be opened", path.c_str());
        return std::nullopt;
    }
    std::vector<std::byte> bytes(file->get_size());
    if (!bytes.empty() && !file->read_at(bytes, 0)) {
        msg_error("%s: cannot be read", path.c_str());
        return std::nullopt;
    }
    return bytes;
}

bool write_file(const std::string &path, std::span<const std::byte> bytes) {
    const auto file = file_system()->system_device.open(path, fs_open_mode_t::atomic);
    if (!file) {
        msg_error("%s: cannot be created", path.c_str());
        return false;
    }
    if (!file->write(bytes)) {
        file->cancel();
        msg_error("%s: cannot be written", path.c_str());
        return false;
    }
    return file->commit();
}

} // namespace kestrel
