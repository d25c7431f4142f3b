// Any bytes as a glTF file. What can be imported becomes texts that the converter takes without a word.

#include "tools/gltf/gltf_import.h"
#include "fuzz/check.h"
#include "fuzz/target.h"
#include "kcore/kutils/ufs/mem_file.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"
#include "tools/gltf/imported_model_text.h"

#include <optional>

namespace kestrel {

static std::optional<imported_model_t> import(fuzz_input_t input) {
    try {
        const gltf_source_t source =
            read_gltf(std::as_bytes(input), [](const std::string &name) -> std::vector<std::byte> {
                gltf_fail("\"", name, "\" is not there");
            });
        return import_gltf(source, {.tangents = true, .most_elements = 20'000});
    } catch (const gltf_error_t &) {
        return std::nullopt;
    }
}

static std::string text_of(const imported_model_t &model, number_style_t numbers, auto write) {
    text_writer_t out;
    write(model, {"m", "m.kis", numbers}, out);
    return std::string(out.buffer());
}

static void check_texts(const imported_model_t &model, number_style_t numbers) {
    message_counter_t messages;
    owner_list_t owners;
    const std::string model_text = text_of(model, numbers, write_model_text);
    const kim_t *parsed = parse_model_text(model_text, "m.kim", owners);
    promise(parsed, "an imported model parses");
    kis_t *skeleton = nullptr;
    if (!model.bones.empty()) {
        const std::string skeleton_text = text_of(model, numbers, write_skeleton_text);
        skeleton = parse_skeleton_text(skeleton_text, "m.kis", owners);
        promise(skeleton, "and so does its skeleton");
    }
    mem_file_t geometry;
    promise(kmg_write(*parsed, skeleton, true, geometry), "an imported model becomes a geometry file");
    promise(messages.errors() + messages.warnings() == 0, "the converter has nothing to say about it");
}

void fuzz_gltf_import(fuzz_input_t input) {
    if (const auto model = import(input)) {
        check_texts(*model, number_style_t::bit_patterns);
        check_texts(*model, number_style_t::shortest_decimals);
    }
}

} // namespace kestrel
