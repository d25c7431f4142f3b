// kmg2glb: turns geometry files into binary glTF, for any viewer.

#include "kcore/messages/messages.h"
#include "kcore/strings/utf8_path.h"
#include "tools/gltf/gltf_export.h"
#include "tools/kmg/command_line.h"
#include "tools/kmg/kmg_check.h"

#include <algorithm>
#include <set>

namespace kestrel {

namespace {

constexpr const char *examples = R"(Examples:
  kmg2glb cab.kmg                   writes cab.glb beside it
  kmg2glb *.kmg                     one .glb beside each
  kmg2glb cab.kmg -o /tmp/cab.glb

No geometry file is ever written over, and no folder made.

Exit status: 0 when every file was written, 1 when a geometry file has errors
(kmginfo --check tells all of them), 2 when a file cannot be read or written,
memory runs out or the command line is wrong.
)";

struct request_t {
    std::vector<std::string> files;
    std::string output; // of a single file
    gltf_options_t options;
};

bool report_errors(const std::string &file, std::span<const kmg_finding_t> findings) {
    for (const kmg_finding_t &finding : findings)
        if (kind_of(finding.code).severity == severity_t::error) {
            msg_error("%s: %s: %s (kmginfo --check tells all)", file.c_str(), to_text(finding.place).c_str(),
                      finding.text.c_str());
            return true;
        }
    return false;
}

status_t convert(const std::string &input, const std::string &output, const gltf_options_t &options) {
    const auto bytes = read_file(input);
    if (!bytes)
        return status_unreadable;
    if (report_errors(input, check_kmg(*bytes, 1)))
        return status_found;
    const auto file = output_file_t::create(output);
    if (!file)
        return status_unreadable;
    const std::string name = utf8_text(utf8_path(input).stem());
    gltf_changes_t changes;
    if (!export_glb(*kmg_reader_t::open(*bytes), name, options, changes,
                    [&](std::span<const std::byte> part) { file->write(part); })) {
        msg_error("%s: would be larger than 4 GB, which glTF does not allow", output.c_str());
        return status_unreadable;
    }
    if (!file->commit())
        return status_unreadable;
    if (const std::string text = to_text(changes); !text.empty())
        msg_warning("%s: for glTF, %s", input.c_str(), text.c_str());
    return status_good;
}

status_t convert_all(const request_t &request) {
    status_t status = status_good;
    std::set<std::string> outputs;
    for (const std::string &input : request.files) {
        const std::string output =
            request.output.empty() ? utf8_text(utf8_path(input).replace_extension(".glb")) : request.output;
        status_t of_file = status_unreadable;
        if (outputs.insert(output).second)
            of_file = convert(input, output, request.options);
        else
            msg_error("%s: another of the files has been written to %s", input.c_str(), output.c_str());
        status = std::max(status, of_file);
    }
    return status;
}

} // namespace

} // namespace kestrel

int main(int argument_count, char **arguments) {
    using namespace kestrel;
    return run_tool("kmg2glb", [&]() -> int {
        request_t request;
        command_line_t line("kmg2glb", "Turns geometry files (.kmg) into binary glTF 2.0 (.glb).", examples);
        line.add_option("FILE", request.files, "geometry files")->required();
        line.add_option("-o", request.output,
                        "what to write of a single FILE; else FILE with the extension .glb")
            ->type_name("OUT");
        line.add_flag("--axes", request.options.axes, "show locators as three coloured lines");
        line.callback([&] {
            if (!request.output.empty() && request.files.size() != 1)
                throw CLI::ValidationError("-o", "takes one FILE");
        });
        if (const auto status = line.parse(argument_count, arguments))
            return *status;
        return convert_all(request);
    });
}
