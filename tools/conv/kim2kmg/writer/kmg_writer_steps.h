#pragma once

// What one call of kmg_write works with, and the steps that it takes, each in the file named here.
//
// The steps that build fill their part of the geometry file in memory; all of them have passed before the
// first byte is written. The steps that write find the last thing that can be wrong with a model, the formats
// of a piece's vertex streams, when its turn comes. A step that gives false has reported an error.

#include "kcore/collections/city_hash.h"
#include "kcore/collections/hashed_table.h"
#include "kcore/messages/messages.h"
#include "kcore/ufs/file.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/kim2kmg/writer/piece_skinning.h"
#include "tools/kmg/kmg_layout_and_limits.h"

namespace kestrel {

// Tags of the vertex streams that the geometry file takes besides positions and UV channels.
inline constexpr std::string_view normal_tag = "_NORMAL";
inline constexpr std::string_view tangent_tag = "_TANGENT";
inline constexpr std::string_view colour_tag = "_RGBA";
inline constexpr std::string_view factor_tag = "_FACTOR";

// Distinct texts, each followed by its NUL, in the order in which they were first added. The texts stay the
// model's.
class string_pool_t {
  public:
    void add(std::string_view text) {
        const auto next = static_cast<uint32_t>(texts_.size());
        const auto equal = [&](uint32_t i) { return texts_[i].text == text; };
        if (numbers_.find_or_add(city_hash_64(text), next, equal) != next)
            return;
        texts_.push_back({text, static_cast<uint32_t>(length_)});
        length_ += text.size() + 1;
    }
    // Where the text begins in the pool; kmg_absent when it is not there.
    uint32_t offset_of(std::string_view text) const {
        const auto equal = [&](uint32_t i) { return texts_[i].text == text; };
        const uint32_t number = numbers_.find(city_hash_64(text), equal);
        return number == hashed_table_t::none ? kmg_absent : texts_[number].offset;
    }

    struct text_t {
        std::string_view text;
        uint32_t offset;
    };
    std::span<const text_t> texts() const { return texts_.items(); }
    // Bytes of all texts with their NULs.
    uint64_t length() const { return length_; }

  private:
    array_dyn_t<text_t> texts_;
    hashed_table_t numbers_;
    uint64_t length_ = 0;
};

struct kmg_writer_t {
    const kim_t &model;
    const kis_t *skeleton; // none for a model without skin
    bool tangents;         // are tangent vectors exported?
    kim_t *spent;          // the same model when what has been used may go, else none

    kmg_header_t header{};
    string_pool_t string_pool{}; // the locators' hookups
    array_dyn_t<kmg_bone_data_t> bones{};
    array_dyn_t<kmg_part_t> parts{};
    array_dyn_t<kmg_locator_t> locators{};
    // In the order in which pieces are written.
    array_dyn_t<const kix_piece_t *> piece_order{};
    array_dyn_t<kmg_piece_t> pieces{};
    array_dyn_t<vertex_order_t> vertex_orders{}; // of pieces with bones; empty without
    bool has_repeated_pieces = false;            // is a piece written twice?
    skin_binding_t skin{};

    bool has_bones() const { return header.bone_count != 0; }
    // Whether a piece's streams may go once they are in a buffer.
    bool spends_streams() const { return spent && !has_repeated_pieces; }
    // Names the model in messages.
    const char *source_name() const { return model.source_name.c_str(); }
};

// kmg_bones: how bones hang on each other, where they stand, and how they move relative to their parents.
// Leaves the records zero when there is no skeleton.
bool build_bones(kmg_writer_t &writer);

// kmg_parts. Locators need the string pool; one that is listed twice fills two records, one that no part
// lists leaves a record of zeros at the end.
bool build_locators(kmg_writer_t &writer);
bool build_parts(kmg_writer_t &writer);
// Part by part, each in the order of its list. The lists must hold as many entries as the model has pieces; a
// piece listed twice is written twice. More than 65536 vertices and triangles are refused when they are also
// more than eight times what the model has.
bool build_piece_order(kmg_writer_t &writer);

// kmg_pieces: counts, bounds, UV channels, and where each field of a piece's vertices lies. While records are
// built their offsets count from the start of the vertex data and of the index data, whose sizes in the
// header grow with every piece; relocating turns them into offsets in the file, sets that of the index data
// and needs that of the vertex data.
bool build_pieces(kmg_writer_t &writer);
bool relocate_pieces(kmg_writer_t &writer);

// Working memory of one piece, which the next one uses again.
struct piece_buffers_t {
    array_dyn_t<std::byte> bytes{};    // as they are written
    array_dyn_t<uint16_t> positions{}; // where each vertex went
};

// kmg_vertex_data: the vertices of piece number i in piece order, interleaved as its record says, and its
// triangles as 16-bit indices. Each with one write.
bool write_vertex_data(const kmg_writer_t &writer, size_t i, piece_buffers_t &buffers, file_t &destination);
bool write_index_data(const kmg_writer_t &writer, size_t i, piece_buffers_t &buffers, file_t &destination);

// kmg_writer: fills a section, or the index data of a piece, of so many bytes up to its aligned size.
bool write_padding(uint64_t bytes, file_t &destination);

// Errors that several steps can meet. Each reports and gives false.
bool geometry_too_large(const kmg_writer_t &writer); // offsets of 32 bits cannot count its bytes
bool write_failed(const file_t &destination, const char *what);

} // namespace kestrel
