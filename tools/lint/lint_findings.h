#pragma once

// What can be wrong with a text model or skeleton, and where findings of it are put.

#include "tools/kmg/concat.h"
#include "tools/kmg/findings.h"

#include <array>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

//   error    the converter refuses the file, or what it writes draws nonsense
//   warning  converts, but something is lost or will hardly be as meant
//   note     legitimate and worth knowing
//
// Every code with its severity, what it stands for and its cure, in the words of the documentation. Codes are
// stable: scripts may match them.
#define LINT_FINDINGS(X)                                                                                     \
    X(syntax, error, "a token that may not stand there", "write what is expected there")                     \
    X(string_open, error, "a string without its closing quote", "close it")                                  \
    X(string_cut, warning, "a string of more than 255 bytes, of which the first 255 count", "shorten it")    \
    X(utf16, error, "the text is not in bytes but in pairs of bytes", "save the file as UTF-8")              \
    X(byte_order_mark, warning, "the file begins with a byte order mark, which is skipped byte by byte",     \
      "save the file without it")                                                                            \
    X(carriage_returns, warning, "lines end in carriage returns alone, which do not end a comment",          \
      "end lines with line feeds")                                                                           \
    X(not_a_number, error, "`nan`, `inf` and their like, of which no value is left",                         \
      "mend the exporter's arithmetic, write a number")                                                      \
    X(decimal_comma, error, "a comma for a decimal point, which makes two integers of a number",             \
      "write numbers in the C locale, with a point")                                                         \
    X(comma, warning, "commas, which are reported and skipped", "separate numbers by blanks alone")          \
    X(skipped, warning, "what begins no token, reported and skipped", "remove it")                           \
    X(bits_not_finite, error, "a bit pattern that means infinity or no number",                              \
      "mend the exporter's arithmetic")                                                                      \
    X(format_version, error, "a FormatVersion that the converter does not know",                             \
      "write 5 in a model, 1 in a skeleton")                                                                 \
    X(count, error, "a declared count that does not agree with what follows", "write the true count")        \
    X(count_unchecked, warning, "the same, of a count that the converter compares with nothing",             \
      "write the true count")                                                                                \
    X(order, error, "items, bones or piece skins that are not numbered 0, 1, 2 and so on",                   \
      "number them in the order of the file")                                                                \
    X(index, note, "an `Index` that is not the paragraph's place among its like", "number them from 0")      \
    X(stream_missing, error, "a piece without `_POSITION`, `_NORMAL` or `_RGBA`", "export that stream")      \
    X(stream_format, error, "a stream of another format than its tag must have", "write it in that format")  \
    X(stream_repeated, warning, "a second stream of one tag, which is ignored", "write one of each tag")     \
    X(stream_unknown, note, "a stream of a tag that the converter ignores", "leave it out")                  \
    X(tangent_missing, warning, "`-tangent` of a piece without a `_TANGENT` stream",                         \
      "export tangents, or convert without `-tangent`")                                                      \
    X(value_kind, error, "integers in a stream of reals, or the reverse: their bits are taken as they are",  \
      "write reals with a point or as `&` bits, integers without")                                           \
    X(values_missing, error, "items of fewer values than their format has, filled up with zeros",            \
      "write all values")                                                                                    \
    X(values_cut, warning, "items of more values than their format has, of which the last are dropped",      \
      "write the format that the items have")                                                                \
    X(infinite, error, "a number beyond single precision", "mend the exporter's arithmetic")                 \
    X(uv_gap, warning, "a UV stream above a gap, which is ignored", "number `_UV` streams without a gap")    \
    X(alias, warning, "an alias that names no texture coordinate slot",                                      \
      "name `_TEXCOORD0` to `_TEXCOORD7` or `_UV0` to `_UV7`")                                               \
    X(slot_repeated, warning, "a texture coordinate slot fed by two channels, of which the later wins",      \
      "name each slot once")                                                                                 \
    X(uv_range, warning, "texture coordinates beyond 1000", "look whether they are in pixels")               \
    X(normal_zero, warning, "normals of length 0", "compute them from the faces")                            \
    X(normal_length, note, "normals or tangents that are not of unit length", "normalise them")              \
    X(tangent_sign, warning, "a tangent's fourth value other than 1 or -1",                                  \
      "write the sign of the bitangent")                                                                     \
    X(colour_range, warning, "colours outside 0 to 2, or alpha outside 0 to 1, which are cut",               \
      "scale them: 1.0 is the middle of red, green and blue, the end of alpha")                              \
    X(factor_range, warning, "factors that are not whole numbers from 0 to 255", "round and cut them")       \
    X(vertices_none, error, "a piece without vertices", "leave the piece out")                               \
    X(vertices_many, error, "more than 65535 vertices in one piece", "split the piece")                      \
    X(triangles_none, note, "a piece without triangles", "leave the piece out")                              \
    X(corner, error, "a corner beyond the piece's vertices", "number vertices of each piece from 0")         \
    X(triangle_degenerate, note, "triangles with a vertex twice, or no area",                                \
      "`-discard_bad_triangles` removes them")                                                               \
    X(triangle_repeated, note, "the same corners in the same direction as another triangle",                 \
      "write it once")                                                                                       \
    X(vertex_unused, note, "vertices of no triangle", "`-optimize_for_vertex_cache` removes them")           \
    X(material, error, "a material number beyond the materials", "number materials from 0")                  \
    X(material_unused, note, "a material of no piece", "leave it out")                                       \
    X(name_token, error, "a part or locator whose name is no token", "use up to 12 letters, digits and `_`") \
    X(name_empty, warning, "a part, locator or bone without a name", "name it")                              \
    X(name_repeated, warning, "two parts, locators or bones of one name; letter case is not kept",           \
      "give each a name of its own")                                                                         \
    X(part_piece, error,                                                                                     \
      "a part lists a piece that does not exist, or the parts do not share out the pieces",                  \
      "list each piece in one part, by its place in the file from 0")                                        \
    X(part_locator, error, "the same for locators", "list each locator in one part, by its place from 0")    \
    X(locator_unlisted, warning, "a locator of no part, which is lost", "list it in a part")                 \
    X(locator_scale, error, "a locator with a scale of zero or less", "write 1.0 1.0 1.0")                   \
    X(scale_dropped, warning, "a locator's scale other than 1, which is not stored", "apply it beforehand")  \
    X(locator_rotation, warning, "a rotation that is no unit quaternion", "normalise it")                    \
    X(bones_many, error, "more than 255 bones", "split the model, or drop bones")                            \
    X(skin_stream, error, "a skin without a `_POSITION` stream", "write one")                                \
    X(skin_bone, error, "a weight of a bone beyond the model's bones", "number bones from 0, as in `Bones`") \
    X(skin_vertex, error, "a skin item of a vertex that does not exist, or a vertex of no item",             \
      "write each vertex of each piece into one skin item")                                                  \
    X(skin_vertex_repeated, warning, "a vertex of two skin items, of which the later wins",                  \
      "write each vertex into one skin item")                                                                \
    X(weights_zero, error, "a skin item without a weight that reaches half of 1/255", "bind it to a bone")   \
    X(weights_sum, warning, "weights that do not sum to 1", "divide them by their sum")                      \
    X(weight_negative, warning, "a negative weight, which counts as 1", "drop it")                           \
    X(influences, warning, "more than four bones pull a vertex; the four largest are kept",                  \
      "export four influences at most")                                                                      \
    X(bone_idle, note, "bones that no weight names", "fine when they carry locators or animations")          \
    X(skin_passes, note, "a `Skin` paragraph: merging and vertex cache ordering leave such a model alone",   \
      "write `PieceSkin` paragraphs to have them")                                                           \
    X(skeleton_missing, error, "the skeleton that a skinned model names cannot be read",                     \
      "put it beside the model, and its name with `.kis` into `Skeleton`")                                   \
    X(skeleton_unused, note, "a model without skin names a skeleton, which is not read",                     \
      "leave the name empty")                                                                                \
    X(skeleton_bones, error, "model and skeleton have different numbers of bones", "export both together")   \
    X(bone_unmatched, error, "a bone of the model that the skeleton does not have",                          \
      "export both together; letter case counts")                                                            \
    X(bone_parent, error, "a parent that does not exist, or the bone itself",                                \
      "name a bone of the skeleton, or \"\" for a root")                                                     \
    X(bone_order, error, "a bone before its parent", "write parents first")                                  \
    X(bone_unnamed, warning, "bones whose names are no tokens and become `unnamed_NNN`",                     \
      "use up to 12 letters, digits and `_`")                                                                \
    X(bone_singular, warning, "a matrix without an inverse", "mend the rest pose, no scale may be 0")        \
    X(bone_last_row, warning, "a last row other than 0 0 0 1",                                               \
      "write four rows of four, translation in the last column")

enum class lint_code_t : uint8_t {
#define LINT_CODE(code, severity, meaning, cure) code,
    LINT_FINDINGS(LINT_CODE)
#undef LINT_CODE
};

struct lint_kind_t : finding_kind_t {
    std::string_view cure;
};
// In the order of the codes.
std::span<const lint_kind_t> lint_kinds();
const lint_kind_t &kind_of(lint_code_t code);

// A token of the text, or the item of that number of the list whose first item begins at the offset.
struct text_place_t {
    uint64_t offset = 0;
    uint32_t item = 0;
    auto operator<=>(const text_place_t &) const = default;
};
// As editors count: from 1, columns in characters.
struct text_position_t {
    uint64_t line = 1;
    uint64_t column = 1;
};

struct lint_finding_t {
    lint_code_t code;
    text_place_t place;
    std::string text;
    uint64_t more = 0; // stands for so many findings of its code that were left out, the first one at `place`
    text_position_t position{};
};

// Collects findings. Of one code the first few are kept and the rest counted, so that a broken exporter
// buries neither everything else nor the memory.
class lint_findings_t {
  public:
    explicit lint_findings_t(uint32_t limit) : limit_(limit) {}

    void add(lint_code_t code, text_place_t place, std::string text) {
        add(code, place, [&] { return std::move(text); });
    }
    // The text is made only when it is kept.
    template <class F>
    requires std::is_invocable_r_v<std::string, F>
    void add(lint_code_t code, text_place_t place, F &&make_text) {
        tally_t &tally = tallies_[static_cast<size_t>(code)];
        if (tally.kept < limit_) {
            ++tally.kept;
            kept_.push_back({code, place, make_text()});
        } else if (tally.more++ == 0)
            tally.first = place;
    }
    // Errors first, then by code and place.
    std::vector<lint_finding_t> take();

  private:
    struct tally_t {
        uint32_t kept = 0;
        uint64_t more = 0;
        text_place_t first;
    };
    static constexpr size_t code_count = 0
#define LINT_COUNT_CODE(code, severity, meaning, cure) +1
        LINT_FINDINGS(LINT_COUNT_CODE)
#undef LINT_COUNT_CODE
        ;

    uint32_t limit_;
    std::vector<lint_finding_t> kept_;
    std::array<tally_t, code_count> tallies_{};
};

} // namespace kestrel
