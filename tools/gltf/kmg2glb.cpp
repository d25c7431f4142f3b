// kmg2glb: turns a geometry file into binary glTF, for any viewer.

#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "tools/gltf/gltf_export.h"
#include "tools/kmg/command_line.h"
#include "tools/kmg/file_bytes.h"
#include "tools/kmg/kmg_check.h"

#include <filesystem>

namespace kestrel {

namespace {

constexpr const char *examples = R"(Examples:
  kmg2glb cab.kmg                   writes cab.glb beside it
  kmg2glb cab.kmg /tmp/cab.glb

Exit status: 0 when the file was written, 1 when the geometry file has errors
(kmginfo --check tells all of them), 2 when a file cannot be read or written
or the command line is wrong.
)";

bool report_errors(const std::string &file, std::span<const kmg_finding_t> findings) {
    for (const kmg_finding_t &finding : findings)
        if (kind_of(finding.code).severity == severity_t::error) {
            msg_error("%s: %s: %s (kmginfo --check tells all)", file.c_str(), to_text(finding.place).c_str(),
                      finding.text.c_str());
            return true;
        }
    return false;
}

int convert(const std::string &input, const std::string &output) {
    const auto bytes = read_file(input);
    if (!bytes)
        return status_unreadable;
    if (report_errors(input, check_kmg(*bytes, 1)))
        return status_found;
    const std::string name = std::filesystem::path(input).stem().string();
    const std::string glb = export_glb(*kmg_reader_t::open(*bytes), name);
    return write_file(output, std::as_bytes(std::span(glb))) ? status_good : status_unreadable;
}

} // namespace

} // namespace kestrel

int main(int argument_count, char **arguments) {
    using namespace kestrel;
    std::string input, output;
    command_line_t command_line("kmg2glb", "Turns a geometry file (.kmg) into binary glTF 2.0 (.glb).",
                                examples);
    command_line.add_option("FILE", input, "geometry file")->required();
    command_line.add_option("OUT", output, "what to write; FILE with the extension .glb when not given");
    if (const auto status = command_line.parse(argument_count, arguments))
        return *status;
    if (output.empty())
        output = std::filesystem::path(input).replace_extension(".glb").string();
    core_initialize();
    const int status = convert(input, output);
    core_shutdown();
    return status;
}
