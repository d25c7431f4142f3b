// Prints the hash of each file, with "-size" its size too.

#include "kcore/collections/city_hash.h"
#include "kcore/core/cdl.h"
#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file_system.h"

using namespace kestrel;

static bool print_hash(const char *path) {
    const auto file = fs_device_open(path, fs_open_mode_t::read, fs_device_type_t::sysfs);
    if (!file)
        return false; // and it has said why
    array_dyn_t<char> text;
    text.resize(file->get_size());
    if (!file->read(std::as_writable_bytes(text.items()))) {
        msg_error("%s cannot be read", display_name_of(file.get()).c_str());
        return false;
    }
    msg_info("%I64x %s", city_hash_64({text.data(), text.size()}), path);
    if (cdl_param("-size") >= 0)
        msg_info("  %Iu bytes", text.size());
    return true;
}

int main(int argument_count, char **arguments) {
    static cdl_context_t command_line;
    cdl_set_context(command_line);
    cdl_init(argument_count, arguments);
    core_initialize();
    int failures = 0;
    for (int i = 1; i < argument_count && arguments[i][0] != '-'; ++i)
        failures += !print_hash(arguments[i]);
    core_shutdown();
    return failures != 0;
}
