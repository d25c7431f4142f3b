// page_faults: converts one plain model with the vertex-cache pass, as the converter does, and prints for
// each step how many fresh pages it asked the system for.

#include "kcore/core/core.h"
#include "kcore/kutils/ufs/fs_copy.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "kcore/ufs/file_system.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"

#include <cstdio>
#include <sys/resource.h>

using namespace kestrel;

namespace {

long fault_count() {
    rusage used{};
    getrusage(RUSAGE_SELF, &used);
    return used.ru_minflt;
}

// Prints the faults since the last step ended.
void end_step(const char *name) {
    static long before = 0;
    const long now = fault_count();
    std::printf("%s\t%ld\n", name, now - before);
    before = now;
}

bool convert(const char *input, const char *output) {
    sysfs_device_t &device = file_system()->system_device;
    end_step("start");
    owner_list_t owners;
    const auto source = device.open(input, fs_open_mode_t::read);
    kim_t *const model = source ? parse_model_file(*source, owners) : nullptr;
    if (!model)
        return false;
    end_step("parse");
    optimize_for_vertex_cache(*model, false);
    end_step("order for the vertex cache");
    mem_file_t geometry;
    if (!kmg_write(std::move(*model), nullptr, false, geometry))
        return false;
    end_step("build the geometry file");
    const auto target = device.open(output, fs_open_mode_t::create_truncate);
    if (!target || !fs_copy(target.get(), &geometry))
        return false;
    end_step("copy it to disk");
    return true;
}

} // namespace

int main(int argument_count, char **arguments) {
    if (argument_count != 3) {
        std::fputs("Usage: page_faults MODEL.kim OUTPUT\n", stderr);
        return 2;
    }
    core_initialize();
    const bool converted = convert(arguments[1], arguments[2]);
    core_shutdown();
    return converted ? 0 : 1;
}
