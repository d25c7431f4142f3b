// The process: start the core library, run the converter, stop the core library.

#include "kcore/core/cdl.h"
#include "kcore/core/core.h"
#include "tools/conv/kim2kmg/converter_main.h"

int main(int argument_count, char **arguments) {
    static kestrel::cdl_context_t command_line;
    kestrel::cdl_set_context(command_line);
    kestrel::cdl_init(argument_count, arguments);
    kestrel::core_initialize();
    const int status = kestrel::converter_main({arguments, static_cast<size_t>(argument_count)});
    kestrel::core_shutdown();
    return status;
}
