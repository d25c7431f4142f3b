#include "kcore/ufs/file_system.h"

namespace kestrel {

static std::unique_ptr<file_system_t> instance;

file_system_t::file_system_t(std::unique_ptr<fs_platform_t> layer)
    : platform(std::move(layer)), pump(*platform), system_device("", *platform, pump) {}

void file_system_start(std::unique_ptr<fs_platform_t> platform) {
    instance = std::make_unique<file_system_t>(std::move(platform));
}

void file_system_stop() {
    instance.reset();
}

file_system_t *file_system() {
    return instance.get();
}

} // namespace kestrel
