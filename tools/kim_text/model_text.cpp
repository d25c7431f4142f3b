#include "tools/kim_text/model_text.h"

namespace kestrel {

namespace {

constexpr size_t item_width = 5; // of an item's number, so that items stand below each other

} // namespace

void model_text_t::number_field(std::string_view name, uint64_t value) {
    out_.text(name);
    out_.text(": ");
    out_.integer(value);
    out_.text("\n");
}

void model_text_t::text_field(std::string_view name, std::string_view value) {
    out_.text(name);
    out_.text(": \"");
    out_.text(value);
    out_.text("\"\n");
}

void model_text_t::real_field(std::string_view name, std::span<const float> values) {
    out_.text(name);
    out_.text(": ( ");
    out_.reals(values, numbers_);
    out_.text(" )\n");
}

void model_text_t::header(std::string_view type, uint32_t version, std::string_view source,
                          std::string_view name) {
    out_.text("Header {\n");
    number_field("\tFormatVersion", version);
    text_field("\tSource", source);
    text_field("\tType", type);
    text_field("\tName", name);
    out_.text("}\n");
}

void model_text_t::global(const model_counts_t &counts, std::string_view skeleton) {
    out_.text("Global {\n");
    number_field("\tVertexCount", counts.vertices);
    number_field("\tTriangleCount", counts.triangles);
    number_field("\tMaterialCount", counts.materials);
    number_field("\tPieceCount", counts.pieces);
    number_field("\tPartCount", counts.parts);
    number_field("\tBoneCount", counts.bones);
    number_field("\tLocatorCount", counts.locators);
    text_field("\tSkeleton", skeleton);
    if (counts.piece_skins > 0)
        number_field("\tPieceSkinCount", counts.piece_skins);
    out_.text("}\n");
}

void model_text_t::material(std::string_view alias, std::string_view effect) {
    out_.text("Material {\n");
    text_field("\tAlias", alias);
    text_field("\tEffect", effect);
    out_.text("}\n");
}

void model_text_t::begin_piece(uint32_t index, uint32_t material, uint64_t vertices, uint64_t triangles,
                               uint32_t streams) {
    out_.text("Piece {\n");
    number_field("\tIndex", index);
    number_field("\tMaterial", material);
    number_field("\tVertexCount", vertices);
    number_field("\tTriangleCount", triangles);
    number_field("\tStreamCount", streams);
}

void model_text_t::begin_stream(std::string_view format, std::string_view tag,
                                std::span<const std::string_view> aliases) {
    out_.text("\tStream {\n\t\tFormat: ");
    out_.text(format);
    out_.text("\n");
    text_field("\t\tTag", tag);
    if (!aliases.empty()) {
        number_field("\t\tAliasCount", aliases.size());
        out_.text("\t\tAliases:");
        for (const std::string_view alias : aliases) {
            out_.text(" \"");
            out_.text(alias);
            out_.text("\"");
        }
        out_.text("\n");
    }
    next_item_ = 0;
}

void model_text_t::item(std::span<const float> values) {
    out_.text("\t\t");
    out_.integer(next_item_++, item_width);
    out_.text(" ( ");
    out_.reals(values, numbers_);
    out_.text(" )\n");
}

void model_text_t::begin_triangles() {
    out_.text("\tTriangles {\n");
    next_item_ = 0;
}

void model_text_t::triangle(uint64_t a, uint64_t b, uint64_t c) {
    out_.text("\t\t");
    out_.integer(next_item_++, item_width);
    out_.text(" ( ");
    out_.integer(a);
    out_.text(" ");
    out_.integer(b);
    out_.text(" ");
    out_.integer(c);
    out_.text(" )\n");
}

void model_text_t::part(std::string_view name, std::span<const uint32_t> pieces,
                        std::span<const uint32_t> locators) {
    const auto list = [&](std::string_view field, std::span<const uint32_t> numbers) {
        out_.text(field);
        for (const uint32_t number : numbers) {
            out_.text(" ");
            out_.integer(number);
        }
        out_.text("\n");
    };
    out_.text("Part {\n");
    text_field("\tName", name);
    number_field("\tPieceCount", pieces.size());
    number_field("\tLocatorCount", locators.size());
    list("\tPieces:", pieces);
    list("\tLocators:", locators);
    out_.text("}\n");
}

void model_text_t::locator(const locator_text_t &locator) {
    out_.text("Locator {\n");
    text_field("\tName", locator.name);
    if (!locator.hookup.empty())
        text_field("\tHookup", locator.hookup);
    number_field("\tIndex", locator.index);
    real_field("\tPosition", locator.position);
    real_field("\tRotation", locator.rotation);
    real_field("\tScale", locator.scale);
    out_.text("}\n");
}

void model_text_t::begin_bones() {
    out_.text("Bones {\n");
    next_item_ = 0;
}

void model_text_t::bone_name(std::string_view name) {
    out_.text("\t");
    out_.integer(next_item_++, item_width);
    out_.text(" ( \"");
    out_.text(name);
    out_.text("\" )\n");
}

void model_text_t::begin_skin(uint64_t items, uint64_t weights, uint64_t clones) {
    out_.text("Skin {\n\tStreamCount: 1\n\tSkinStream {\n\t\tFormat: FLOAT3\n\t\tTag: \"_POSITION\"\n");
    number_field("\t\tItemCount", items);
    number_field("\t\tTotalWeightCount", weights);
    number_field("\t\tTotalCloneCount", clones);
    next_item_ = 0;
}

void model_text_t::begin_piece_skin(uint32_t piece, uint64_t items, uint64_t weights,
                                    uint64_t vertex_indices) {
    out_.text("PieceSkin {\n");
    number_field("\tPiece", piece);
    out_.text("\tStreamCount: 1\n\tPieceSkinStream {\n\t\tFormat: FLOAT3\n\t\tTag: \"_POSITION\"\n");
    number_field("\t\tItemCount", items);
    number_field("\t\tTotalWeightCount", weights);
    number_field("\t\tTotalVertexIndexCount", vertex_indices);
    next_item_ = 0;
}

void model_text_t::pair(uint64_t first, uint64_t second) {
    out_.text("  ");
    out_.integer(first);
    out_.text(" ");
    out_.integer(second);
}

void model_text_t::begin_skin_item(std::span<const float, 3> position,
                                   std::span<const weight_text_t> weights) {
    out_.text("\t\t");
    out_.integer(next_item_++, item_width);
    out_.text(" (\n\t\t\t( ");
    out_.reals(position, numbers_);
    out_.text(" )\n\t\t\tWeights: ");
    out_.integer(weights.size());
    for (const weight_text_t &weight : weights) {
        out_.text("  ");
        out_.integer(weight.bone);
        out_.text(" ");
        out_.reals(std::span(&weight.weight, 1), numbers_);
    }
    out_.text("\n");
}

void model_text_t::skin_item(std::span<const float, 3> position, std::span<const weight_text_t> weights,
                             std::span<const clone_text_t> clones) {
    begin_skin_item(position, weights);
    out_.text("\t\t\tClones: ");
    out_.integer(clones.size());
    for (const clone_text_t &clone : clones)
        pair(clone.piece, clone.vertex);
    end_skin_item();
}

void model_text_t::piece_skin_item(std::span<const float, 3> position, std::span<const weight_text_t> weights,
                                   std::span<const uint32_t> vertices) {
    begin_skin_item(position, weights);
    out_.text("\t\t\tVertexIndices: ");
    out_.integer(vertices.size());
    out_.text(" ");
    for (const uint32_t vertex : vertices) {
        out_.text(" ");
        out_.integer(vertex);
    }
    end_skin_item();
}

void model_text_t::begin_skeleton(uint64_t bones) {
    out_.text("Global {\n");
    number_field("\tBoneCount", bones);
    out_.text("}\nBones {\n");
    next_item_ = 0;
}

void model_text_t::bone(std::string_view name, std::string_view parent, std::span<const float, 16> matrix) {
    out_.text("\t");
    out_.integer(next_item_++, item_width);
    out_.text(" (\n");
    text_field("\t\tName", name);
    text_field("\t\tParent", parent);
    real_field("\t\tMatrix", matrix);
    out_.text("\t)\n");
}

} // namespace kestrel
