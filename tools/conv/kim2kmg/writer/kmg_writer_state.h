#pragma once

// What one call of kmg_write works with: what it was given, and the geometry file as it takes shape.
//
// The steps of the writer (kmg_bones, kmg_parts, kmg_pieces, piece_skinning) each fill their part and give
// false after an error. Nothing is written before all of them have passed.

#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/kim2kmg/writer/piece_skinning.h"
#include "tools/conv/kim2kmg/writer/string_bag.h"
#include "tools/conv/kim2kmg/writer/writer_errors.h"
#include "tools/kmg/kmg_format.h"

namespace kestrel {

struct kmg_writer_t {
    const kim_t &model;
    const kis_t *skeleton; // none for a model without skin
    bool tangents;         // are tangent vectors exported?

    kmg_header_t header{};
    string_bag_t string_pool{}; // the locators' hookups
    array_dyn_t<kmg_bone_data_t> bones{};
    array_dyn_t<kmg_part_t> parts{};
    array_dyn_t<kmg_locator_t> locators{};
    // In the order in which pieces are written.
    array_dyn_t<const kix_piece_t *> piece_order{};
    array_dyn_t<kmg_piece_t> pieces{};
    array_dyn_t<piece_info_t> piece_infos{}; // how each piece is skinned
    skin_binding_t skin{};

    bool has_bones() const { return header.bone_count != 0; }
    // Names the model in messages.
    const char *source_name() const { return model.source_name.c_str(); }
};

} // namespace kestrel
