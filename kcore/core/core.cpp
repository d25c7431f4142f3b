#include "kcore/core/core.h"

#include "kcore/core/platform/standard_streams.h"
#include "kcore/messages/console_message_handler.h"
#include "kcore/ufs/file_system.h"
#include "kcore/units/unit_deletion.h"
#include "kcore/units/unit_registry.h"

#include <clocale>
#include <optional>

namespace kestrel {

static std::optional<console_message_handler_t> console;

void core_initialize() {
    secure_standard_streams();
    std::setlocale(LC_ALL, "C.UTF-8");
    message_system_t::start();
    console.emplace(false);
    register_core_unit_classes();
    file_system_start();
}

void core_shutdown() {
    file_system_stop();
    unit_deletion_list_t::process();
    forget_unit_classes();
    console.reset();
    message_system_t::stop();
}

} // namespace kestrel
