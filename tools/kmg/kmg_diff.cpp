#include "tools/kmg/kmg_diff.h"

#include "tools/kmg/kmg_facts.h"
#include "tools/kmg/kmg_text.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

namespace kestrel {

namespace {

using kind_t = kmg_record_kind_t;

// The amount by which two numbers differ, component by component; NaN when one is not finite.
double distance(std::floating_point auto a, std::floating_point auto b) {
    const double by = std::abs(static_cast<double>(a) - static_cast<double>(b));
    return std::isfinite(by) ? by : std::numeric_limits<double>::quiet_NaN();
}
double distance(std::integral auto a, std::integral auto b) {
    return static_cast<double>(a > b ? a - b : b - a);
}
// NaN stays once it is there.
double larger(double a, double b) {
    return std::isnan(a) || a >= b ? a : b;
}
template <class T, size_t N>
double distance(const std::array<T, N> &a, const std::array<T, N> &b) {
    double largest = 0;
    for (size_t i = 0; i < N; ++i)
        largest = larger(largest, distance(a[i], b[i]));
    return largest;
}

// To the bit, unless reals may differ: two zeros of different sign do, one NaN does not from itself.
template <class T>
bool same(const T &a, const T &b, double tolerance) {
    if constexpr (std::is_same_v<T, float>)
        return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) ||
               (tolerance > 0 && distance(a, b) <= tolerance);
    else if constexpr (std::is_integral_v<T>)
        return a == b;
    else {
        for (size_t i = 0; i < a.size(); ++i)
            if (!same(a[i], b[i], tolerance))
                return false;
        return true;
    }
}

// Which record of one file stands for which of the other.
class pairing_t {
  public:
    pairing_t(size_t count_a, size_t count_b) : b_of_a_(count_a, kmg_absent), a_of_b_(count_b, kmg_absent) {}

    // Pairs those of the same key that have no partner yet, in the order of each file.
    void pair(const std::function<uint64_t(uint32_t)> &key_a,
              const std::function<uint64_t(uint32_t)> &key_b) {
        const auto keys_a = sorted_keys(b_of_a_, key_a), keys_b = sorted_keys(a_of_b_, key_b);
        for (auto a = keys_a.begin(), b = keys_b.begin(); a != keys_a.end() && b != keys_b.end();) {
            if (a->key == b->key) {
                b_of_a_[a->index] = b->index;
                a_of_b_[b->index] = a->index;
            }
            const bool next_a = a->key <= b->key, next_b = b->key <= a->key;
            a += next_a;
            b += next_b;
        }
    }
    uint32_t b_of(uint32_t a) const { return b_of_a_[a]; }
    uint32_t a_of(uint32_t b) const { return a_of_b_[b]; }

    // Calls pair(a, b) for each, then only_a(a) and only_b(b).
    void for_each(auto &&pair, auto &&only_a, auto &&only_b) const {
        for (uint32_t a = 0; a < b_of_a_.size(); ++a)
            if (b_of_a_[a] != kmg_absent)
                pair(a, b_of_a_[a]);
        for (uint32_t a = 0; a < b_of_a_.size(); ++a)
            if (b_of_a_[a] == kmg_absent)
                only_a(a);
        for (uint32_t b = 0; b < a_of_b_.size(); ++b)
            if (a_of_b_[b] == kmg_absent)
                only_b(b);
    }
    bool keeps_order() const {
        std::vector<uint32_t> partners;
        std::copy_if(b_of_a_.begin(), b_of_a_.end(), std::back_inserter(partners),
                     [](uint32_t b) { return b != kmg_absent; });
        return std::is_sorted(partners.begin(), partners.end());
    }

  private:
    struct keyed_t {
        uint64_t key;
        uint32_t index;
        auto operator<=>(const keyed_t &) const = default;
    };
    static std::vector<keyed_t> sorted_keys(const std::vector<uint32_t> &partners,
                                            const std::function<uint64_t(uint32_t)> &key) {
        std::vector<keyed_t> keys;
        for (uint32_t i = 0; i < partners.size(); ++i)
            if (partners[i] == kmg_absent)
                keys.push_back({key(i), i});
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    std::vector<uint32_t> b_of_a_, a_of_b_;
};

template <class R>
pairing_t paired_by_name(const kmg_view_t<R> &a, const kmg_view_t<R> &b) {
    pairing_t pairing(a.size(), b.size());
    pairing.pair([&](uint32_t i) { return a[i].name; }, [&](uint32_t i) { return b[i].name; });
    return pairing;
}

// A piece's vertices with the bones by their numbers in the first file, its triangles, and of each vertex a
// number that is the same for equal vertices.
struct mesh_t {
    kmg_piece_t piece;
    std::vector<std::byte> vertices;
    kmg_piece_data_t data; // bone indices in `vertices`
    std::vector<uint32_t> numbers;

    std::span<const std::byte> vertex(size_t i) const {
        return std::span(vertices).subspan(i * piece.vertex_stride, piece.vertex_stride);
    }
    // The corners of each triangle, the one of the least number first.
    std::vector<std::array<uint32_t, 3>> triangles() const {
        std::vector<std::array<uint32_t, 3>> result;
        for (size_t i = 0; i + 2 < data.indices.size(); i += 3) {
            std::array<uint32_t, 3> triangle;
            for (size_t c = 0; c < 3; ++c) {
                const uint32_t vertex = data.indices[i + c];
                triangle[c] = vertex < numbers.size() ? numbers[vertex] : kmg_absent;
            }
            std::rotate(triangle.begin(), std::min_element(triangle.begin(), triangle.end()), triangle.end());
            result.push_back(triangle);
        }
        return result;
    }
};

mesh_t mesh_of(const kmg_reader_t &file, uint32_t index, const std::function<uint8_t(uint8_t)> &bone) {
    mesh_t mesh{file.pieces()[index], {}, {}, {}};
    const kmg_piece_t &piece = mesh.piece;
    mesh.data = file.data_of(piece);
    const auto stored =
        file.bytes().subspan(piece.position_offset, size_t{piece.vertex_stride} * piece.vertex_count);
    mesh.vertices.assign(stored.begin(), stored.end());
    if (!mesh.data.bone_indices.empty()) {
        std::byte *first = mesh.vertices.data() + (piece.bone_index_offset - piece.position_offset);
        for (size_t i = 0; i < piece.vertex_count; ++i)
            for (size_t slot = 0; slot < kmg_max_influences; ++slot) {
                std::byte &number = first[i * piece.vertex_stride + slot];
                number = std::byte{bone(static_cast<uint8_t>(number))};
            }
        mesh.data.bone_indices = {first, piece.vertex_stride, piece.vertex_count};
    }
    mesh.numbers.resize(piece.vertex_count);
    std::iota(mesh.numbers.begin(), mesh.numbers.end(), 0);
    return mesh;
}

bool same_layout(const kmg_piece_t &a, const kmg_piece_t &b) {
    return a.vertex_count == b.vertex_count && a.vertex_stride == b.vertex_stride &&
           a.tangent_offset - a.position_offset == b.tangent_offset - b.position_offset &&
           a.factor_offset - a.position_offset == b.factor_offset - b.position_offset &&
           a.uv_channel_count == b.uv_channel_count;
}

// If both have the same vertices in any order, equal ones get the same number.
bool number_same_vertices(mesh_t &a, mesh_t &b) {
    const auto sorted = [](const mesh_t &mesh) {
        std::vector<uint32_t> order = mesh.numbers;
        std::sort(order.begin(), order.end(), [&](uint32_t i, uint32_t j) {
            return std::memcmp(mesh.vertex(i).data(), mesh.vertex(j).data(), mesh.piece.vertex_stride) < 0;
        });
        return order;
    };
    const auto order_a = sorted(a), order_b = sorted(b);
    const auto equal = [&](std::span<const std::byte> x, std::span<const std::byte> y) {
        return std::equal(x.begin(), x.end(), y.begin());
    };
    for (size_t i = 0; i < order_a.size(); ++i)
        if (!equal(a.vertex(order_a[i]), b.vertex(order_b[i])))
            return false;
    for (size_t i = 0, number = 0; i < order_a.size(); ++i) {
        if (i > 0 && !equal(a.vertex(order_a[i]), a.vertex(order_a[i - 1])))
            number = i;
        a.numbers[order_a[i]] = b.numbers[order_b[i]] = static_cast<uint32_t>(number);
    }
    return true;
}

class diff_t {
  public:
    diff_t(const kmg_reader_t &a, const kmg_reader_t &b, double tolerance,
           const std::function<void(const kmg_difference_t &)> &report)
        : a_(a), b_(b), tolerance_(tolerance), report_(report), bones_(paired_by_name(a.bones(), b.bones())),
          parts_(paired_by_name(a.parts(), b.parts())), locators_(paired_by_name(a.locators(), b.locators())),
          part_of_piece_a_(parts_of_pieces(a)), part_of_piece_b_(parts_of_pieces(b)) {}

    void run() {
        compare_records({kind_t::header}, a_.header(), b_.header());
        compare_bones();
        compare_parts();
        compare_locators();
        compare_pieces();
        compare_rest();
    }

  private:
    void add(kmg_difference_t place, std::string what, std::string a, std::string b) {
        place.what = std::move(what);
        place.a = std::move(a);
        place.b = std::move(b);
        found(place);
    }
    void found(const kmg_difference_t &difference) {
        anything_ = true;
        report_(difference);
    }
    template <class R>
    void compare_records(const kmg_difference_t &place, const R &a, const R &b);
    template <class T>
    void compare_streams(const kmg_difference_t &place, const std::string &name, const kmg_view_t<T> &a,
                         const kmg_view_t<T> &b);
    // Records of one section: those in both with compare(place, a, b), the others with what they hold.
    template <class R>
    void compare_sections(kind_t kind, const pairing_t &pairing, const kmg_view_t<R> &a,
                          const kmg_view_t<R> &b, auto &&compare, auto &&contents);
    void compare_bones();
    void compare_parts();
    void compare_locators();
    void compare_pieces();
    void compare_meshes(const kmg_difference_t &place, mesh_t &a, mesh_t &b);
    void compare_triangles(const kmg_difference_t &place, const mesh_t &a, const mesh_t &b, bool by_number);
    void compare_rest();

    const kmg_reader_t &a_;
    const kmg_reader_t &b_;
    const double tolerance_;
    const std::function<void(const kmg_difference_t &)> &report_;
    const pairing_t bones_, parts_, locators_;
    const std::vector<uint32_t> part_of_piece_a_, part_of_piece_b_;
    size_t unheld_ = 0; // bytes that differ and no field holds
    bool hookups_same_ = true;
    bool anything_ = false;
};

// Does the field follow from others, or is it compared in terms of names?
bool is_left_out(std::string_view field) {
    return field.ends_with("_offset") || field.ends_with("_size") || field.starts_with("first_") ||
           field == "vertex_stride" || field == "parent" || field == "hookup";
}

template <class T>
std::string field_text(const T &value) {
    if constexpr (std::is_same_v<T, uint64_t>)
        return concat(hex_t{value});
    else
        return values_text(value);
}

template <class R>
void diff_t::compare_records(const kmg_difference_t &place, const R &a, const R &b) {
    R::visit(a, [&](size_t offset, std::string_view name, const auto &value_a) {
        if (is_left_out(name))
            return;
        R::visit(b, [&](size_t offset_b, std::string_view, const auto &value_b) {
            using value_t = std::remove_cvref_t<decltype(value_a)>;
            if constexpr (std::is_same_v<value_t, std::remove_cvref_t<decltype(value_b)>>) {
                if (offset != offset_b || same(value_a, value_b, tolerance_))
                    return;
                kmg_difference_t difference = place;
                if constexpr (!std::is_arithmetic_v<value_t>) {
                    difference.of = value_a.size();
                    for (size_t i = 0; i < value_a.size(); ++i)
                        difference.count += !same(value_a[i], value_b[i], tolerance_);
                    difference.largest = distance(value_a, value_b);
                }
                add(std::move(difference), std::string(name), field_text(value_a), field_text(value_b));
            }
        });
    });
}

template <class T>
void diff_t::compare_streams(const kmg_difference_t &place, const std::string &name, const kmg_view_t<T> &a,
                             const kmg_view_t<T> &b) {
    if (a.empty() != b.empty())
        return add(place, name, a.empty() ? "absent" : "present", b.empty() ? "absent" : "present");
    if (a.size() != b.size())
        return; // told by the count
    kmg_difference_t difference = place;
    difference.stream = true;
    difference.of = a.size();
    for (size_t i = 0; i < a.size(); ++i) {
        const T value_a = a[i], value_b = b[i];
        if (same(value_a, value_b, tolerance_))
            continue;
        if (difference.count++ == 0) {
            difference.first = i;
            difference.a = values_text(value_a);
            difference.b = values_text(value_b);
        }
        difference.largest = larger(difference.largest, distance(value_a, value_b));
    }
    difference.what = name;
    if (difference.count != 0)
        found(difference);
}

template <class R>
void diff_t::compare_sections(kind_t kind, const pairing_t &pairing, const kmg_view_t<R> &a,
                              const kmg_view_t<R> &b, auto &&compare, auto &&contents) {
    const auto name_of_record = [](const R &record) {
        if constexpr (requires { record.name; })
            return token_text(record.name);
        else
            return std::string();
    };
    if (!pairing.keeps_order())
        add({kind}, "order", "", "");
    pairing.for_each(
        [&](uint32_t i, uint32_t j) {
            kmg_difference_t place{kind, i, j, name_of_record(a[i])};
            compare(place, i, j);
        },
        [&](uint32_t i) {
            add({kind, i, kmg_absent, name_of_record(a[i])}, "record", contents(a_, a[i]), "none");
        },
        [&](uint32_t j) {
            add({kind, kmg_absent, j, name_of_record(b[j])}, "record", "none", contents(b_, b[j]));
        });
}

void diff_t::compare_bones() {
    const auto parent_text = [](const kmg_reader_t &file, const kmg_bone_data_t &bone) {
        return bone.parent == kmg_no_parent
                   ? std::string("none")
                   : named(kind_t::bone, bone.parent, file.bones()[bone.parent].name);
    };
    compare_sections(
        kind_t::bone, bones_, a_.bones(), b_.bones(),
        [&](const kmg_difference_t &place, uint32_t i, uint32_t j) {
            const kmg_bone_data_t a = a_.bones()[i], b = b_.bones()[j];
            compare_records(place, a, b);
            const uint32_t expected =
                a.parent == kmg_no_parent ? uint32_t{kmg_no_parent} : bones_.b_of(a.parent);
            if (expected != b.parent)
                add(place, "parent", parent_text(a_, a), parent_text(b_, b));
        },
        [&](const kmg_reader_t &file, const kmg_bone_data_t &bone) {
            return concat("parent ", parent_text(file, bone), ", translation ", values_text(bone.translation),
                          ", rotation ", values_text(bone.rotation));
        });
}

void diff_t::compare_parts() {
    compare_sections(
        kind_t::part, parts_, a_.parts(), b_.parts(),
        [&](const kmg_difference_t &place, uint32_t i, uint32_t j) {
            compare_records(place, a_.parts()[i], b_.parts()[j]);
        },
        [&](const kmg_reader_t &, const kmg_part_t &part) {
            return concat(counted_t{part.piece_count, "piece"}, ", ",
                          counted_t{part.locator_count, "locator"});
        });
}

void diff_t::compare_locators() {
    const auto hookup_text = [](const kmg_reader_t &file, const kmg_locator_t &locator) {
        const auto text = file.hookup_of(locator);
        return text ? quoted(*text) : "none";
    };
    const bool same_pool = a_.string_pool() == b_.string_pool();
    compare_sections(
        kind_t::locator, locators_, a_.locators(), b_.locators(),
        [&](const kmg_difference_t &place, uint32_t i, uint32_t j) {
            const kmg_locator_t a = a_.locators()[i], b = b_.locators()[j];
            compare_records(place, a, b);
            if (const std::string text_a = hookup_text(a_, a), text_b = hookup_text(b_, b);
                text_a != text_b) {
                hookups_same_ = false;
                add(place, "hookup", text_a, text_b);
            } else if (same_pool && a.hookup != b.hookup)
                add(place, "hookup", concat(text_a, " at ", a.hookup), concat(text_b, " at ", b.hookup));
        },
        [&](const kmg_reader_t &file, const kmg_locator_t &locator) {
            hookups_same_ = false;
            return concat("position ", values_text(locator.position), ", rotation ",
                          values_text(locator.rotation), ", hookup ", hookup_text(file, locator));
        });
    // Which part lists them.
    size_t a = 0, b = 0;
    std::vector<uint32_t> part_of_b(b_.locators().size(), kmg_absent);
    for (uint32_t part = 0; part < b_.parts().size(); ++part)
        for (uint32_t i = 0; i < b_.parts()[part].locator_count; ++i)
            part_of_b[b++] = part;
    for (uint32_t part = 0; part < a_.parts().size(); ++part)
        for (uint32_t i = 0; i < a_.parts()[part].locator_count; ++i, ++a) {
            const auto index = static_cast<uint32_t>(a);
            const uint32_t partner = locators_.b_of(index);
            if (partner == kmg_absent || part_of_b[partner] == parts_.b_of(part))
                continue;
            const uint32_t other = part_of_b[partner];
            add({kind_t::locator, index, partner, token_text(a_.locators()[a].name)}, "part",
                named(kind_t::part, part, a_.parts()[part].name),
                other == kmg_absent ? "none" : named(kind_t::part, other, b_.parts()[other].name));
        }
}

void diff_t::compare_pieces() {
    pairing_t pieces(a_.pieces().size(), b_.pieces().size());
    const auto part_a = [&](uint32_t i) { return uint64_t{part_of_piece_a_[i]}; };
    // A part that only the second file has gets a number that no part of the first has.
    const auto part_b = [&](uint32_t i) {
        const uint32_t part = parts_.a_of(part_of_piece_b_[i]);
        return part == kmg_absent ? (uint64_t{1} << 31) + part_of_piece_b_[i] : uint64_t{part};
    };
    pieces.pair([&](uint32_t i) { return part_a(i) << 32 | a_.pieces()[i].material; },
                [&](uint32_t i) { return part_b(i) << 32 | b_.pieces()[i].material; });
    pieces.pair(part_a, part_b);
    // A bone of the second file by its number in the first; those that the first lacks get one that it has
    // not.
    const auto same_bone = [](uint8_t bone) { return bone; };
    const auto bone_in_a = [&](uint8_t bone) {
        const uint32_t number = bone < b_.bones().size() ? bones_.a_of(bone) : bone;
        return static_cast<uint8_t>(number == kmg_absent ? kmg_max_bones : number);
    };
    compare_sections(
        kind_t::piece, pieces, a_.pieces(), b_.pieces(),
        [&](const kmg_difference_t &place, uint32_t i, uint32_t j) {
            compare_records(place, a_.pieces()[i], b_.pieces()[j]);
            mesh_t a = mesh_of(a_, i, same_bone), b = mesh_of(b_, j, bone_in_a);
            compare_meshes(place, a, b);
        },
        [&](const kmg_reader_t &, const kmg_piece_t &piece) {
            return concat("material ", piece.material, ", ",
                          counted_t{piece.vertex_count, "vertex", "vertices"}, ", ",
                          counted_t{piece.index_count / 3, "triangle"});
        });
}

void diff_t::compare_meshes(const kmg_difference_t &place, mesh_t &a, mesh_t &b) {
    const bool reordered =
        same_layout(a.piece, b.piece) && a.vertices != b.vertices && number_same_vertices(a, b);
    if (reordered)
        add(place, "same vertices in another order", "", "");
    else {
        compare_streams(place, "positions", a.data.positions, b.data.positions);
        compare_streams(place, "normals", a.data.normals, b.data.normals);
        compare_streams(place, "tangents", a.data.tangents, b.data.tangents);
        compare_streams(place, "colours", a.data.colours, b.data.colours);
        compare_streams(place, "factors", a.data.factors, b.data.factors);
        for (size_t channel = 0; channel < kmg_max_uv_channels; ++channel)
            compare_streams(place, concat("uv", channel), a.data.uv_channels[channel],
                            b.data.uv_channels[channel]);
        compare_streams(place, "bones", a.data.bone_indices, b.data.bone_indices);
        compare_streams(place, "weights", a.data.bone_weights, b.data.bone_weights);
    }
    compare_triangles(place, a, b, reordered);
    if (a.piece.index_count == b.piece.index_count && a.piece.index_count % 2 != 0) {
        const auto padding = [](const kmg_reader_t &file, const kmg_piece_t &piece) {
            return file.bytes().subspan(piece.index_offset + piece.index_count * sizeof(uint16_t),
                                        sizeof(uint16_t));
        };
        const auto padding_a = padding(a_, a.piece), padding_b = padding(b_, b.piece);
        for (size_t i = 0; i < sizeof(uint16_t); ++i)
            unheld_ += padding_a[i] != padding_b[i];
    }
}

void diff_t::compare_triangles(const kmg_difference_t &place, const mesh_t &a, const mesh_t &b,
                               bool by_number) {
    auto triangles_a = a.triangles(), triangles_b = b.triangles();
    if (triangles_a.size() != triangles_b.size())
        return; // told by the count
    if (by_number && triangles_a == triangles_b)
        return;
    if (triangles_a != triangles_b) {
        std::sort(triangles_a.begin(), triangles_a.end());
        std::sort(triangles_b.begin(), triangles_b.end());
        if (triangles_a == triangles_b)
            return add(place, "same triangles in another order", "", "");
    }
    if (!by_number)
        return compare_streams(place, "indices", a.data.indices, b.data.indices);
    std::vector<std::array<uint32_t, 3>> common;
    std::set_intersection(triangles_a.begin(), triangles_a.end(), triangles_b.begin(), triangles_b.end(),
                          std::back_inserter(common));
    add(place, "triangles", concat(triangles_a.size() - common.size(), " that the other lacks"),
        concat(triangles_b.size() - common.size(), " that the other lacks"));
}

// What no field holds: strings that no locator refers to, and padding.
void diff_t::compare_rest() {
    const auto count_differing = [](auto a, auto b) {
        const size_t both = std::min(a.size(), b.size());
        size_t differing = std::max(a.size(), b.size()) - both;
        for (size_t i = 0; i < both; ++i)
            differing += a[i] != b[i];
        return differing;
    };
    if (hookups_same_)
        unheld_ += count_differing(a_.string_pool(), b_.string_pool());
    if (unheld_ == 0 && !anything_ && tolerance_ == 0)
        unheld_ = count_differing(a_.bytes(), b_.bytes());
    if (unheld_ == 0)
        return;
    kmg_difference_t difference{kind_t::file};
    difference.what = "bytes that no field holds";
    difference.count = unheld_;
    found(difference);
}

std::string place_text(const kmg_difference_t &difference) {
    if (difference.kind < kind_t::bone)
        return name_of(difference.kind);
    const uint32_t a = difference.index, b = difference.index_b;
    if (a == kmg_absent && b == kmg_absent)
        return concat(name_of(difference.kind), "s");
    std::string text = to_text(difference.kind, a == kmg_absent ? b : a);
    if (a != kmg_absent && b != kmg_absent && a != b)
        append(text, concat(" | ", b));
    return difference.name.empty() ? text : concat(text, " '", difference.name, "'");
}

} // namespace

void diff_kmg(const kmg_reader_t &a, const kmg_reader_t &b, double tolerance,
              const std::function<void(const kmg_difference_t &)> &report) {
    diff_t(a, b, tolerance, report).run();
}

std::string to_text(const kmg_difference_t &difference) {
    const std::string text = concat(place_text(difference), ": ");
    const std::string values = concat(difference.a, " | ", difference.b);
    if (difference.kind == kind_t::file)
        return text + concat(difference.count, " ", difference.what, " differ");
    if (difference.what == "order")
        return text + "in another order";
    if (difference.what == "record")
        return text + (difference.index_b == kmg_absent ? concat("only in the first: ", difference.a)
                                                        : concat("only in the second: ", difference.b));
    if (difference.a.empty())
        return text + difference.what;
    if (difference.of == 0)
        return text + concat(difference.what, " ", values);
    const std::string by = std::isnan(difference.largest)
                               ? ", not all finite"
                               : concat(" by at most ", rounded_t{difference.largest, 3});
    if (difference.stream)
        return text + concat(difference.count, " of ", difference.of, " ", difference.what, by,
                             ", the first at ", difference.first, ": ", values);
    // A matrix in full says less than how much it is off.
    if (difference.of > 4)
        return text + concat(difference.what, ": ", difference.count, " of ", difference.of, " values", by);
    return text + concat(difference.what, " ", values, by);
}

} // namespace kestrel
