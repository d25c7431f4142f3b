#include "fuzz/conversion_in_memory.h"

#include "fuzz/check.h"
#include "tests/support/fake_platform.h"
#include "tools/conv/kim2kmg/convert_file.h"
#include "tools/kmg/kmg_check.h"

namespace kestrel {

static const std::string model_path = "/base/project/m.kim";
static const std::string skeleton_path = "/base/project/s.kis";
static const std::string output_path = "/base/rsrc/project/@cache/m.kmg";
static const std::string record_path = "/base/rsrc/project/@dep/m.kmg";

option_flags_t options_from_bits(uint8_t bits) {
    return {.tangent = (bits & 1) != 0,
            .discard_bad_triangles = (bits & 2) != 0,
            .merge_part_pieces = (bits & 4) != 0,
            .optimize_for_vertex_cache = (bits & 8) != 0,
            .verbose = (bits & 16) != 0};
}

// What wild numbers of a model lead to; all else must be sound.
static bool comes_from_the_numbers(finding_code_t code) {
    switch (code) {
    case finding_code_t::not_finite:
    case finding_code_t::bone_inverse:
    case finding_code_t::bone_rotation:
    case finding_code_t::bone_sign:
    case finding_code_t::bone_local:
    case finding_code_t::box:
    case finding_code_t::sphere:
        return true;
    default:
        return false;
    }
}

static void check_output(const std::string &output) {
    for (const kmg_finding_t &finding : check_kmg(std::as_bytes(std::span(output))))
        promise(kind_of(finding.code).severity != severity_t::error || comes_from_the_numbers(finding.code),
                finding.text.c_str());
}

bool convert_in_memory(std::string_view model, std::string_view skeleton, const option_flags_t &options) {
    message_counter_t messages;
    fake_file_system_t system;
    fake_platform_t &platform = system.platform();
    platform.add_file(model_path, model);
    if (!skeleton.empty())
        platform.add_file(skeleton_path, skeleton);
    const auto sources = platform.files();

    rcfs_device_t device(*file_system(), "/base", "project");
    const bool converted = convert_file(device, "/m.kim", options);
    auto left = platform.files();
    promise(left.contains(output_path) == converted, "there is an output exactly after a success");
    promise(left.contains(record_path) == converted, "there is a dependency file exactly after a success");
    promise(converted || messages.errors() != 0, "a failure is reported");
    promise(platform.open_file_count() == 0, "nothing stays open");
    if (converted)
        check_output(left[output_path]);
    left.erase(output_path);
    left.erase(record_path);
    promise(left == sources, "the sources stay as they were, and nothing else is written");
    return converted;
}

} // namespace kestrel
