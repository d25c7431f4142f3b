// Texts as they come, checked and converted: where the checker finds no error, the converter has no reason to
// refuse, and every finding stands inside the text.

#include "fuzz/check.h"
#include "fuzz/conversion_in_memory.h"
#include "fuzz/target.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "tools/lint/lint_report.h"

#include <algorithm>

namespace kestrel {

static std::unique_ptr<file_t> file_of(std::string_view text) {
    auto file = std::make_unique<mem_file_t>();
    file->write_at(std::as_bytes(std::span(text)), 0);
    return file;
}

void fuzz_lint_text(fuzz_input_t input) {
    constexpr std::string_view separator = "\n%%\n";
    const std::string_view text(reinterpret_cast<const char *>(input.data()), input.size());
    const size_t model_end = std::min(text.find(separator), text.size());
    const std::string_view model = text.substr(0, model_end);
    const std::string_view skeleton = text.substr(std::min(model_end + separator.size(), text.size()));
    const bool tangent = !text.empty() && text.back() == 't';
    finding_counts_t found;
    {
        message_counter_t messages;
        const auto files =
            lint_file("m.kim", {.tangent = tangent}, [&](const std::string &path) -> std::unique_ptr<file_t> {
                if (path == "m.kim")
                    return file_of(model);
                return path == "s.kis" && !skeleton.empty() ? file_of(skeleton) : nullptr;
            });
        for (const linted_file_t &file : files) {
            count_findings(file.findings, found);
            const std::string_view of = file.name == "m.kim" ? model : skeleton;
            const auto lines = static_cast<uint64_t>(1 + std::count(of.begin(), of.end(), '\n') +
                                                     std::count(of.begin(), of.end(), '\r'));
            for (const lint_finding_t &finding : file.findings)
                promise(finding.position.line <= lines && finding.place.offset <= of.size(),
                        "a finding stands inside its file");
        }
        to_json(files);
        to_sarif(files);
    }
    const bool converted = convert_in_memory(model, skeleton, {.tangent = tangent});
    promise(converted || found.errors != 0, "what the converter refuses is an error");
}

} // namespace kestrel
