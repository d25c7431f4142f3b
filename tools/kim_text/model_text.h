#pragma once

// Text models (.kim) and text skeletons (.kis), paragraph by paragraph: the caller keeps to the format's
// order and to the counts that it declares. Texts hold no double quote and at most 255 bytes.
//
//     header global material... begin_piece (begin_stream item... end_stream)... begin_triangles triangle...
//     end_triangles end_piece ... part... locator... bones (begin_skin | begin_piece_skin) items end_skin
//
//     header begin_skeleton bone... end_skeleton

#include "tools/kim_text/text_writer.h"

#include <array>

namespace kestrel {

struct model_counts_t {
    uint64_t vertices = 0;
    uint64_t triangles = 0;
    uint64_t materials = 0;
    uint64_t pieces = 0;
    uint64_t parts = 0;
    uint64_t bones = 0;
    uint64_t locators = 0;
    uint64_t piece_skins = 0;
};

struct locator_text_t {
    std::string_view name;
    std::string_view hookup; // may be empty
    uint32_t index;
    std::array<float, 3> position;
    std::array<float, 4> rotation; // w, x, y, z
    std::array<float, 3> scale;
};

struct weight_text_t {
    uint32_t bone;
    float weight;
};
struct clone_text_t {
    uint32_t piece;
    uint64_t vertex;
};

class model_text_t {
  public:
    model_text_t(text_writer_t &out, number_style_t numbers) : out_(out), numbers_(numbers) {}

    void header(std::string_view type, uint32_t version, std::string_view source, std::string_view name);
    void global(const model_counts_t &counts, std::string_view skeleton);
    void material(std::string_view alias, std::string_view effect);

    void begin_piece(uint32_t index, uint32_t material, uint64_t vertices, uint64_t triangles,
                     uint32_t streams);
    void begin_stream(std::string_view format, std::string_view tag,
                      std::span<const std::string_view> aliases = {});
    void item(std::span<const float> values);
    void end_stream() { out_.text("\t}\n"); }
    void begin_triangles();
    void triangle(uint64_t a, uint64_t b, uint64_t c);
    void end_triangles() { out_.text("\t}\n"); }
    void end_piece() { out_.text("}\n"); }

    void part(std::string_view name, std::span<const uint32_t> pieces, std::span<const uint32_t> locators);
    void locator(const locator_text_t &locator);

    void begin_bones();
    void bone_name(std::string_view name);
    void end_bones() { out_.text("}\n"); }

    // One for the whole model, or one for each piece.
    void begin_skin(uint64_t items, uint64_t weights, uint64_t clones);
    void begin_piece_skin(uint32_t piece, uint64_t items, uint64_t weights, uint64_t vertex_indices);
    void skin_item(std::span<const float, 3> position, std::span<const weight_text_t> weights,
                   std::span<const clone_text_t> clones);
    void piece_skin_item(std::span<const float, 3> position, std::span<const weight_text_t> weights,
                         std::span<const uint32_t> vertices);
    void end_skin() { out_.text("\t}\n}\n"); }

    void begin_skeleton(uint64_t bones);
    // The matrix row by row, the translation in the last column. A root's parent is empty.
    void bone(std::string_view name, std::string_view parent, std::span<const float, 16> matrix);
    void end_skeleton() { out_.text("}\n"); }

  private:
    void number_field(std::string_view name, uint64_t value);
    void text_field(std::string_view name, std::string_view value);
    void real_field(std::string_view name, std::span<const float> values);
    void pair(uint64_t first, uint64_t second);
    void begin_skin_item(std::span<const float, 3> position, std::span<const weight_text_t> weights);
    void end_skin_item() { out_.text("\n\t\t)\n"); }

    text_writer_t &out_;
    number_style_t numbers_;
    uint64_t next_item_ = 0;
};

} // namespace kestrel
