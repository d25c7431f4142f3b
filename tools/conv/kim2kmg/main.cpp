// The process: start the core library, run the converter, stop the core library.

#include "kcore/core/cdl.h"
#include "kcore/core/core.h"
#include "tools/conv/kim2kmg/converter_main.h"

#include <cstdio>
#include <new>

int main(int argument_count, char **arguments) {
    static kestrel::cdl_context_t command_line;
    kestrel::cdl_set_context(command_line);
    kestrel::cdl_init(argument_count, arguments);
    try {
        kestrel::core_initialize();
    } catch (const std::bad_alloc &) {
        std::fputs("*** ERROR *** : kim2kmg: memory exhausted\r\n", stderr); // as a message would read
        return 1;
    }
    const int status = kestrel::converter_main({arguments, static_cast<size_t>(argument_count)});
    kestrel::core_shutdown();
    return status;
}
