// The process: start the core library, run the converter, stop the core library.

#include "kcore/core/cdl.h"
#include "kcore/core/core.h"
#include "kcore/core/platform/process.h"
#include "tools/conv/kim2kmg/converter_main.h"

#include <cstdio>
#include <new>

int main(int argument_count, char **texts) {
    static kestrel::cdl_context_t command_line;
    kestrel::cdl_set_context(command_line);
    std::span<char *const> arguments;
    try {
        arguments = kestrel::program_arguments(argument_count, texts);
        kestrel::cdl_init(static_cast<int>(arguments.size()), arguments.data());
        kestrel::core_initialize();
    } catch (const std::bad_alloc &) {
        std::fputs("*** ERROR *** : kim2kmg: memory exhausted\r\n", stderr); // as a message would read
        return 1;
    }
    const int status = kestrel::converter_main(arguments);
    kestrel::core_shutdown();
    return status;
}
