#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"
#include "tools/conv/kim2kmg/writer/uv_channels.h"
#include "tools/lint/lint_checks.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

using code_t = lint_code_t;
using float2_t = std::array<float, 2>;
using float4_t = std::array<float, 4>;

constexpr double length_tolerance = 1e-2;
constexpr float largest_texture_coordinate = 1000;

// How many numbers an item of the format has, and of which kind.
struct shape_t {
    token_kind_t kind;
    uint32_t count;
};
shape_t shape_of(stream_format_t format) {
    switch (format) {
    case stream_format_t::string:
        return {token_kind_t::string, 1};
    case stream_format_t::int1:
    case stream_format_t::int2:
        return {token_kind_t::integer, static_cast<uint32_t>(item_size_of(format) / 4)};
    default:
        return {token_kind_t::real, static_cast<uint32_t>(item_size_of(format) / 4)};
    }
}

std::string_view name_of(token_kind_t kind) {
    return kind == token_kind_t::integer ? "integers" : kind == token_kind_t::real ? "reals" : "texts";
}

std::string_view name_of(stream_format_t format) {
    constexpr std::string_view names[] = {"FLOAT",  "FLOAT2", "FLOAT3", "FLOAT4", "FLOAT5",   "FLOAT6",
                                          "STRING", "INT",    "INT2",   "",       "FLOAT4X4", "QUATERNION"};
    return names[static_cast<size_t>(format)];
}

// Counts the items of which the test holds.
template <class T, class F>
tally_t tally(std::span<const T> items, F test) {
    tally_t found;
    for (size_t i = 0; i < items.size(); ++i)
        if (test(items[i]))
            found.add(static_cast<uint32_t>(i));
    return found;
}

class piece_check_t {
  public:
    piece_check_t(const kix_piece_t &piece, size_t number, size_t first_stream, lint_context_t &context)
        : piece_(piece), number_(number), first_stream_(first_stream), context_(context), map_(context.map),
          findings_(context.findings) {}

    void run() {
        check_counts();
        for (size_t i = 0; i < piece_.streams.size(); ++i)
            check_stream(i);
        check_required();
        check_channels();
        check_triangles();
    }

  private:
    void check_counts();
    void check_stream(size_t stream);
    bool check_shape(size_t stream);
    void check_values(size_t stream);
    void check_tag(size_t stream);
    void check_required();
    void check_channels();
    void check_triangles();
    void check_corners(std::span<const triangle_t> triangles);
    void check_repeated(std::span<const triangle_t> triangles);
    void check_area(std::span<const triangle_t> triangles);

    text_place_t at_stream(size_t stream, token_kind_t field) const {
        return map_.field("STREAM"_kw, first_stream_ + stream, field);
    }
    text_place_t at_triangle(uint32_t triangle) const { return map_.item("TRIANGLES"_kw, number_, triangle); }
    std::string stream_name(const kix_stream_t &stream) const {
        return concat("stream ", quoted(stream.tag.view()), " of piece ", number_);
    }
    // Tells of the items of one stream.
    void report(code_t code, size_t stream, const tally_t &found, std::string_view what) {
        if (found.count != 0)
            findings_.add(code, map_.item("STREAM"_kw, first_stream_ + stream, found.first), [&] {
                const kix_stream_t &items = *piece_.streams[stream];
                return concat(found.count, " of ", counted_t{items.count(), "item"}, " of ",
                              stream_name(items), " ", what, ", this one the first");
            });
    }
    void report_triangles(code_t code, const tally_t &found, std::string_view what) {
        if (found.count != 0)
            findings_.add(code, at_triangle(found.first), [&] {
                return concat(found.count, " of ", counted_t{piece_.triangles->count(), "triangle"},
                              " of piece ", number_, " ", what, ", this one the first");
            });
    }
    // The values of a stream that the converter reads and that are what they should be; empty otherwise.
    template <class T>
    std::span<const T> values(size_t stream, std::string_view tag, stream_format_t format) const {
        const kix_stream_t &items = *piece_.streams[stream];
        return items.tag.view() == tag && items.format() == format ? items.items_as<T>()
                                                                   : std::span<const T>();
    }

    const kix_piece_t &piece_;
    const size_t number_;
    const size_t first_stream_; // of the piece among all in the file
    lint_context_t &context_;
    const source_map_t &map_;
    lint_findings_t &findings_;
};

void piece_check_t::check_counts() {
    const text_place_t place = map_.field("PIECE"_kw, number_, "VERTEXCOUNT"_kw);
    if (piece_.vertex_count == 0)
        findings_.add(code_t::vertices_none, place,
                      [&] { return concat("piece ", number_, " has no vertices"); });
    if (piece_.vertex_count > kmg_max_piece_vertices)
        findings_.add(code_t::vertices_many, place, [&] {
            return concat("piece ", number_, " has ", piece_.vertex_count, " vertices, at most ",
                          kmg_max_piece_vertices, " are possible");
        });
    if (piece_.triangles->count() == 0)
        findings_.add(code_t::triangles_none, map_.paragraph("PIECE"_kw, number_),
                      [&] { return concat("piece ", number_, " has no triangles"); });
}

void piece_check_t::check_stream(size_t stream) {
    check_tag(stream);
    if (check_shape(stream))
        check_values(stream);
}

void piece_check_t::check_tag(size_t stream) {
    const kix_stream_t &items = *piece_.streams[stream];
    const std::string_view tag = items.tag.view();
    const text_place_t place = at_stream(stream, "TAG"_kw);
    constexpr std::string_view tags[] = {position_tag, normal_tag, colour_tag, factor_tag, tangent_tag};
    const auto is_known = [&](std::string_view name) {
        return std::find(std::begin(tags), std::end(tags), name) != std::end(tags) ||
               std::find(std::begin(uv_tags), std::end(uv_tags), name) != std::end(uv_tags);
    };
    if (!is_known(tag)) {
        std::string upper(tag);
        std::transform(upper.begin(), upper.end(), upper.begin(),
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
        findings_.add(code_t::stream_unknown, place, [&] {
            return concat(stream_name(items), " is ignored",
                          is_known(upper) ? concat(", letter case counts: ", quoted(upper), " is known")
                                          : "");
        });
    } else if (piece_.find_stream(tag) != &items)
        findings_.add(code_t::stream_repeated, place,
                      [&] { return concat(stream_name(items), " is there before"); });
}

// How the items are written; false when their values mean nothing.
bool piece_check_t::check_shape(size_t stream) {
    const kix_stream_t &items = *piece_.streams[stream];
    const auto written = map_.items("STREAM"_kw, first_stream_ + stream);
    const shape_t shape = shape_of(items.format());
    const text_place_t place = at_stream(stream, "FORMAT"_kw);
    if (written.count == 0)
        return true; // no items
    if (written.kind != shape.kind) {
        findings_.add(code_t::value_kind, place, [&] {
            return concat(stream_name(items), " has ", name_of(written.kind), ", ", name_of(items.format()),
                          " wants ", name_of(shape.kind));
        });
        return false;
    }
    if (written.count != shape.count)
        findings_.add(written.count < shape.count ? code_t::values_missing : code_t::values_cut, place, [&] {
            return concat("items of ", stream_name(items), " have ", counted_t{written.count, "value"}, ", ",
                          name_of(items.format()), " wants ", shape.count);
        });
    return written.count >= shape.count && shape.kind == token_kind_t::real;
}

void piece_check_t::check_values(size_t stream) {
    const kix_stream_t &items = *piece_.streams[stream];
    constexpr uint32_t exponent = 0x7F800000;
    const auto *const words = reinterpret_cast<const uint32_t *>(items.bytes().data());
    const size_t count = items.bytes().size() / sizeof(uint32_t);
    uint32_t any = 0;
    for (size_t i = 0; i < count; ++i)
        any |= static_cast<uint32_t>((words[i] & exponent) == exponent);
    if (any) {
        tally_t infinite;
        const size_t words_of_item = items.item_size() / sizeof(uint32_t);
        for (uint32_t i = 0; i < items.count(); ++i)
            if (std::any_of(words + i * words_of_item, words + (i + 1) * words_of_item,
                            [](uint32_t word) { return (word & exponent) == exponent; }))
                infinite.add(i);
        return report(code_t::infinite, stream, infinite,
                      "have a value beyond 3.4e38, which becomes infinite");
    }
    const auto length_of = [](float x, float y, float z) { return std::sqrt(x * x + y * y + z * z); };
    const auto is_off = [](float length) {
        return std::abs(length - 1) > static_cast<float>(length_tolerance);
    };
    const auto normals = values<float3_t>(stream, normal_tag, stream_format_t::float3);
    const auto tangents = values<float4_t>(stream, tangent_tag, stream_format_t::float4);
    report(code_t::normal_zero, stream,
           tally(normals, [&](const float3_t &n) { return n.x == 0 && n.y == 0 && n.z == 0; }),
           "are of length 0");
    report(code_t::normal_length, stream,
           tally(normals,
                 [&](const float3_t &n) {
                     const float length = length_of(n.x, n.y, n.z);
                     return is_off(length) && length != 0;
                 }),
           "are not of length 1");
    report(code_t::normal_length, stream,
           tally(tangents, [&](const float4_t &t) { return is_off(length_of(t[0], t[1], t[2])); }),
           "are not of length 1");
    report(code_t::tangent_sign, stream,
           tally(tangents, [](const float4_t &t) { return t[3] != 1 && t[3] != -1; }),
           "have another fourth value than 1 or -1");
    report(
        code_t::colour_range, stream,
        tally(
            values<float4_t>(stream, colour_tag, stream_format_t::float4),
            [](const float4_t &c) {
                return std::min({c[0], c[1], c[2], c[3]}) < 0 || std::max({c[0], c[1], c[2]}) > 2 || c[3] > 1;
            }),
        "lie outside 0 to 2, or of alpha 0 to 1");
    report(code_t::factor_range, stream,
           tally(values<float4_t>(stream, factor_tag, stream_format_t::float4),
                 [](const float4_t &factors) {
                     return std::any_of(factors.begin(), factors.end(),
                                        [](float f) { return f < 0 || f > 255 || f != std::floor(f); });
                 }),
           "are not whole numbers from 0 to 255");
    for (const std::string_view tag : uv_tags)
        report(code_t::uv_range, stream,
               tally(values<float2_t>(stream, tag, stream_format_t::float2),
                     [](const float2_t &uv) {
                         return std::max(std::abs(uv[0]), std::abs(uv[1])) > largest_texture_coordinate;
                     }),
               "are beyond 1000");
}

void piece_check_t::check_required() {
    const struct {
        std::string_view tag;
        stream_format_t format;
        bool required;
    } wanted[] = {{position_tag, stream_format_t::float3, true},
                  {normal_tag, stream_format_t::float3, true},
                  {colour_tag, stream_format_t::float4, true},
                  {factor_tag, stream_format_t::float4, false},
                  {tangent_tag, stream_format_t::float4, false}};
    const auto check_format = [&](std::string_view tag, stream_format_t format) {
        const kix_stream_t *const stream = piece_.find_stream(tag);
        if (!stream || stream->format() == format)
            return;
        const auto at = static_cast<size_t>(std::find(piece_.streams.begin(), piece_.streams.end(), stream) -
                                            piece_.streams.begin());
        findings_.add(code_t::stream_format, at_stream(at, "FORMAT"_kw), [&] {
            return concat(stream_name(*stream), " is ", name_of(stream->format()), ", expected ",
                          name_of(format));
        });
    };
    for (const auto &stream : wanted) {
        const bool missing_tangent = stream.tag == tangent_tag && context_.tangent;
        if (!piece_.find_stream(stream.tag) && (stream.required || missing_tangent))
            findings_.add(stream.required ? code_t::stream_missing : code_t::tangent_missing,
                          map_.paragraph("PIECE"_kw, number_),
                          [&] { return concat("piece ", number_, " has no ", stream.tag, " stream"); });
        check_format(stream.tag, stream.format);
    }
    for (uint32_t channel = 0; channel < find_uv_channels(piece_).count; ++channel)
        check_format(uv_tags[channel], stream_format_t::float2);
}

void piece_check_t::check_channels() {
    const uint32_t count = find_uv_channels(piece_).count;
    uint32_t fed = 0; // a bit for each slot
    for (size_t i = 0; i < piece_.streams.size(); ++i) {
        const kix_stream_t &stream = *piece_.streams[i];
        const auto tag = std::find(std::begin(uv_tags), std::end(uv_tags), stream.tag.view());
        if (tag == std::end(uv_tags))
            continue;
        const auto channel = static_cast<uint32_t>(tag - std::begin(uv_tags));
        if (channel >= count) {
            findings_.add(code_t::uv_gap, at_stream(i, "TAG"_kw), [&] {
                return concat(stream_name(stream), " is ignored, there is no ", uv_tags[count]);
            });
            continue;
        }
        for (const string_dyn_t &alias : stream.aliases) {
            const bool has_form = (alias.view().starts_with("_TEXCOORD") && alias.view().size() == 10) ||
                                  (alias.view().starts_with("_UV") && alias.view().size() == 4);
            const uint32_t slot =
                has_form ? static_cast<uint32_t>(alias.view().back() - '0') : kmg_max_uv_channels;
            if (slot >= kmg_max_uv_channels)
                findings_.add(code_t::alias, at_stream(i, "ALIASES"_kw), [&] {
                    return concat("alias ", quoted(alias.view()), " of ", stream_name(stream),
                                  " names no slot");
                });
            else if (fed >> slot & 1)
                findings_.add(code_t::slot_repeated, at_stream(i, "ALIASES"_kw),
                              [&] { return concat("slot ", slot, " of piece ", number_, " is fed before"); });
            else
                fed |= 1u << slot;
        }
        if (stream.aliases.empty())
            fed |= 1u << channel;
    }
}

void piece_check_t::check_triangles() {
    const std::span<const triangle_t> triangles = piece_.triangles->items_as<triangle_t>();
    const tally_t beyond = tally(triangles, [&](const triangle_t &triangle) {
        return std::any_of(std::begin(triangle.corners), std::end(triangle.corners),
                           [&](uint32_t corner) { return corner >= piece_.vertex_count; });
    });
    report_triangles(code_t::corner, beyond,
                     concat("use a vertex beyond the piece's ", piece_.vertex_count, ", which count from 0"));
    if (beyond.count != 0 || piece_.vertex_count > kmg_max_piece_vertices)
        return;
    check_area(triangles);
    check_repeated(triangles);
    check_corners(triangles);
}

void piece_check_t::check_corners(std::span<const triangle_t> triangles) {
    std::vector<uint8_t> used(piece_.vertex_count);
    for (const triangle_t &triangle : triangles)
        for (const uint32_t corner : triangle.corners)
            used[corner] = 1;
    const tally_t unused = tally(std::span<const uint8_t>(used), [](uint8_t is_used) { return !is_used; });
    if (unused.count == 0 || triangles.empty() || piece_.streams.empty())
        return;
    findings_.add(code_t::vertex_unused, map_.item("STREAM"_kw, first_stream_, unused.first), [&] {
        return concat(unused.count, " of ", counted_t{piece_.vertex_count, "vertex", "vertices"},
                      " of piece ", number_, " belong to no triangle, this one the first");
    });
}

void piece_check_t::check_area(std::span<const triangle_t> triangles) {
    const kix_stream_t *const stream = piece_.find_stream(position_tag);
    std::span<const float3_t> positions;
    if (stream && stream->format() == stream_format_t::float3 && stream->count() == piece_.vertex_count)
        positions = stream->items_as<float3_t>();
    report_triangles(code_t::triangle_degenerate,
                     tally(triangles,
                           [&](const triangle_t &triangle) {
                               const auto [a, b, c] = triangle.corners;
                               if (a == b || b == c || c == a)
                                   return true;
                               if (positions.empty())
                                   return false;
                               const float3_t &p = positions[a], &q = positions[b], &r = positions[c];
                               const double u[] = {double{q.x} - double{p.x}, double{q.y} - double{p.y},
                                                   double{q.z} - double{p.z}};
                               const double v[] = {double{r.x} - double{p.x}, double{r.y} - double{p.y},
                                                   double{r.z} - double{p.z}};
                               return u[1] * v[2] == u[2] * v[1] && u[2] * v[0] == u[0] * v[2] &&
                                      u[0] * v[1] == u[1] * v[0];
                           }),
                     "have a vertex twice or no area");
}

// The same corners in the same direction. Triangles are grouped by their smallest corner, so that only few
// have to be compared.
void piece_check_t::check_repeated(std::span<const triangle_t> triangles) {
    struct turned_t { // the smallest corner first
        uint32_t smallest, others;
    };
    const auto turn = [](const triangle_t &triangle) {
        const auto [a, b, c] = triangle.corners;
        return a <= b && a <= c ? turned_t{a, b << 16 | c}
               : b <= c         ? turned_t{b, c << 16 | a}
                                : turned_t{c, a << 16 | b};
    };
    std::vector<uint32_t> ends(piece_.vertex_count + 1), others(triangles.size());
    for (const triangle_t &triangle : triangles)
        ++ends[turn(triangle).smallest + 1];
    for (size_t i = 1; i < ends.size(); ++i)
        ends[i] += ends[i - 1];
    for (const triangle_t &triangle : triangles) {
        const turned_t turned = turn(triangle);
        others[ends[turned.smallest]++] = turned.others;
    }
    uint32_t repeated = 0, smallest = 0, repeated_others = 0;
    for (uint32_t corner = 0, begin = 0; corner < piece_.vertex_count; begin = ends[corner++]) {
        std::sort(others.begin() + begin, others.begin() + ends[corner]);
        for (uint32_t i = begin + 1; i < ends[corner]; ++i)
            if (others[i] == others[i - 1] && repeated++ == 0) {
                smallest = corner;
                repeated_others = others[i];
            }
    }
    if (repeated == 0)
        return;
    tally_t same;
    uint32_t second = 0;
    for (uint32_t i = 0; i < triangles.size() && same.count < 2; ++i)
        if (const turned_t turned = turn(triangles[i]);
            turned.smallest == smallest && turned.others == repeated_others) {
            same.add(i);
            second = i;
        }
    findings_.add(code_t::triangle_repeated, at_triangle(second), [&] {
        return concat(repeated, " of ", counted_t{triangles.size(), "triangle"}, " of piece ", number_,
                      " are there twice, such as this one, which repeats triangle ", same.first);
    });
}

} // namespace

void check_pieces(const kim_t &model, lint_context_t &context) {
    size_t streams = 0;
    for (size_t i = 0; i < model.pieces.size(); ++i) {
        piece_check_t(*model.pieces[i], i, streams, context).run();
        streams += model.pieces[i]->streams.size();
    }
}

} // namespace kestrel
