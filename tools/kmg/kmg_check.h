#pragma once

// Is a geometry file sound? Finds everything that is not as the writer makes it, from the structure down to
// single triangles, and what is made as it should be but will hardly look or work as meant.
//
// The file is hostile until shown otherwise: no field is used before it has been checked, and the contents of
// a file whose structure is broken are not looked at. Time is n log n in the file's size, memory a few times
// the file.

#include "tools/kmg/findings.h"
#include "tools/kmg/kmg_reader.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

//   error    an engine must not load the file: its structure is broken, or its numbers are none
//   warning  loads, but will hardly look as meant; the fault lies in the source model
//   note     legitimate and worth knowing
//
// Every code with its severity and what it stands for, in the words of the documentation. Codes are stable:
// scripts may match them.
#define KMG_FINDINGS(X)                                                                                      \
    X(file_too_short, error, "the file ends before its last section does")                                   \
    X(file_too_long, error, "bytes behind the last section")                                                 \
    X(signature, error, "not a geometry file")                                                               \
    X(count, error, "a count outside its limits, or for which there is no room")                             \
    X(section, error, "an offset or size of a section does not follow from what stands before it")           \
    X(piece_layout, error, "a piece's stride or offset does not follow from its vertices")                   \
    X(part_range, error, "parts do not share out the pieces and locators one after the other")               \
    X(bone_parent, error, "a parent that does not come before its child")                                    \
    X(not_finite, error, "infinity or not a number, anywhere")                                               \
    X(token, error, "a name that no text packs to")                                                          \
    X(name_empty, note, "no name")                                                                           \
    X(name_repeated, note, "two bones, parts or locators of one name")                                       \
    X(skeleton_hash, warning,                                                                                \
      "bones without a skeleton's hash, a hash without bones, or that of another skeleton's path")           \
    X(bone_unnamed, note, "bones named `unnamed_NNN`: their own names are no tokens")                        \
    X(bone_unused, note, "bones that move no vertex")                                                        \
    X(bone_inverse, error, "matrix times inverse is not the identity")                                       \
    X(bone_singular, warning, "the matrix, or the transform relative to the parent, has no inverse")         \
    X(bone_last_row, warning, "the last row of the matrix or its inverse is not 0 0 0 1")                    \
    X(bone_rotation, error, "a quaternion that is not of unit length")                                       \
    X(bone_sign, error, "neither 1 nor -1")                                                                  \
    X(bone_local, error, "the local transform is not parent's inverse times matrix")                         \
    X(bone_reserved, warning, "reserved bytes that are not zero")                                            \
    X(locator_unlisted, note, "belongs to no part; its record is empty")                                     \
    X(locator_stray, warning, "belongs to no part, and its record is not empty")                             \
    X(locator_scale, error, "not 1")                                                                         \
    X(locator_rotation, warning, "a quaternion that is not of unit length, as the source has it")            \
    X(locator_hookup, error, "no string of the pool begins there")                                           \
    X(locator_far, note, "farther from the model's box than the box is large")                               \
    X(pool_text, error, "a string without end, or padding that is not zero or not needed")                   \
    X(pool_utf8, warning, "a string that is not UTF-8")                                                      \
    X(pool_repeated, warning, "a string twice")                                                              \
    X(pool_unused, note, "a string that no locator refers to")                                               \
    X(box, error,                                                                                            \
      "a box that does not hold its positions, or a position outside a box that fits the others")            \
    X(box_loose, warning, "a box wider than its positions")                                                  \
    X(sphere, error, "a sphere that does not hold its positions")                                            \
    X(sphere_loose, warning, "a sphere that no position touches, or 1.5 times larger than the box needs")    \
    X(material_gap, note, "a material number below that of another piece that no piece has")                 \
    X(texture_map, error, "a slot fed by a UV channel that the piece does not have")                         \
    X(uv_unused, warning, "a UV channel that feeds no slot")                                                 \
    X(uv_constant, note, "all texture coordinates of a channel are the same")                                \
    X(uv_range, warning, "texture coordinates beyond 1000")                                                  \
    X(colour_black, warning, "red, green and blue of all vertices are 0")                                    \
    X(index, error, "a corner beyond the piece's vertices")                                                  \
    X(index_padding, warning, "padding that is not zero")                                                    \
    X(vertex_unused, note, "no triangle uses it")                                                            \
    X(vertex_copied, note, "vertices that are copies of others in all they hold")                            \
    X(vertex_stray, note,                                                                                    \
      "one vertex of a colour, or texture coordinates beyond 0 to 1 or stretched, unlike all others")        \
    X(triangle_degenerate, note, "a vertex twice, or no area; `-discard_bad_triangles` removes these")       \
    X(triangle_duplicate, note, "the same corners in the same direction as another")                         \
    X(triangle_turned, warning, "faces away from the normals of all its corners")                            \
    X(triangle_corner, note, "a corner that tears a hole into the surface, where another vertex would not")  \
    X(bone_index, error, "an influence of a bone that does not exist")                                       \
    X(bone_slots, warning,                                                                                   \
      "bones of a vertex out of order, or without weight and not that of the slot before")                   \
    X(skin_one_bone, note, "a single bone of many moves all vertices")                                       \
    X(weights_below, error, "weights that sum to less than 255")                                             \
    X(weights_above, warning, "weights that sum to more, which source weights above 1 make")                 \
    X(normal_zero, warning, "a normal of length 0")                                                          \
    X(normal_length, note, "a normal that is not of unit length")                                            \
    X(tangent_length, note, "a tangent that is not of unit length")                                          \
    X(tangent_sign, note, "a fourth value other than 1 or -1")

enum class finding_code_t : uint8_t {
#define KMG_FINDING_CODE(code, severity, meaning) code,
    KMG_FINDINGS(KMG_FINDING_CODE)
#undef KMG_FINDING_CODE
};
// In the order of the codes.
std::span<const finding_kind_t> finding_kinds();
const finding_kind_t &kind_of(finding_code_t code);

// Where in the file: a record, and within a piece the vertex or triangle.
struct kmg_place_t {
    kmg_record_kind_t kind = kmg_record_kind_t::file;
    uint32_t index = 0; // of the record
    uint64_t byte = 0;
    std::optional<uint32_t> vertex{};
    std::optional<uint32_t> triangle{};
};
// "piece 3, vertex 12 (byte 4096)".
std::string to_text(const kmg_place_t &place);

struct kmg_finding_t {
    finding_code_t code;
    kmg_place_t place;
    std::string text;
    uint32_t more = 0; // stands for so many findings of its code that were left out, the first one at `place`
};

// The limit is how many findings of one code at one record are told one by one; of the whole file it is ten
// times as many. In the order of the checks: structure, bones, names, pieces, bounds of the model. `skeleton`
// is the path by which the converter found the skeleton, where that is known.
std::vector<kmg_finding_t> check_kmg(std::span<const std::byte> file, uint32_t limit = default_finding_limit,
                                     std::string_view skeleton = {});

finding_counts_t count_findings(std::span<const kmg_finding_t> findings);
bool has_error(std::span<const kmg_finding_t> findings);

} // namespace kestrel
