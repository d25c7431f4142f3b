#pragma once

// An imported model as the texts that the converter reads.

#include "tools/gltf/imported_model.h"
#include "tools/kim_text/text_writer.h"

namespace kestrel {

struct model_text_style_t {
    std::string name;     // of the model
    std::string skeleton; // the name of its skeleton's file, beside it
    number_style_t numbers = number_style_t::bit_patterns;
};

void write_model_text(const imported_model_t &model, const model_text_style_t &style, text_writer_t &out);
void write_skeleton_text(const imported_model_t &model, const model_text_style_t &style, text_writer_t &out);

} // namespace kestrel
