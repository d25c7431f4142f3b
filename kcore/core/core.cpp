#include "kcore/core/core.h"

#include "kcore/core/platform/process.h"
#include "kcore/messages/message_system.h"
#include "kcore/ufs/file_system.h"
#include "kcore/units/unit_registry.h"

#include <clocale>
#include <limits>
#include <optional>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace kestrel {

static std::optional<console_message_handler_t> console;

void core_initialize() {
    keep_freed_memory();
    secure_standard_streams();
    std::setlocale(LC_ALL, "C.UTF-8");
    message_system_t::start();
    console.emplace(false);
    register_core_unit_classes();
    file_system_start();
}

void keep_freed_memory() {
#ifdef __GLIBC__
    mallopt(M_MMAP_THRESHOLD, 32 << 20); // the most that it takes
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
#endif
}

void core_shutdown() {
    file_system_stop();
    forget_unit_classes();
    console.reset();
    message_system_t::stop();
}

bool get_base_directory(mstring_t &destination) {
    name_t path;
    return get_executable_path(path) && get_base_directory_of(path.view(), destination);
}

bool get_base_directory_of(std::string_view program_path, mstring_t &destination) {
    name_t path;
    if (!path.assign(program_path))
        return false;
    path.replace_all('\\', '/');
    const size_t bin = path.view().rfind("/bin/");
    return bin != std::string_view::npos && destination.assign(path.view().substr(0, bin));
}

} // namespace kestrel
