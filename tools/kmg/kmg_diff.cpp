#include "tools/kmg/kmg_diff.h"

#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_text.h"
#include "tools/kmg/token_text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kestrel {

namespace {

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

// As stored: two zeros of different sign differ, one NaN does not differ from itself.
template <class T>
bool same(const T &a, const T &b) {
    std::array<std::byte, sizeof(T)> bytes_a, bytes_b;
    little_endian::put(bytes_a.data(), a);
    little_endian::put(bytes_b.data(), b);
    return bytes_a == bytes_b;
}

class differences_t {
  public:
    void add(kmg_record_kind_t kind, uint32_t index, std::string what, std::string a, std::string b) {
        found_.push_back({kind, index, std::move(what), false, std::move(a), std::move(b)});
    }

    // Fields of two records, but those that follow from the layout.
    template <class R>
    void compare_records(kmg_record_kind_t kind, uint32_t index, const R &a, const R &b) {
        R::visit(a, [&](size_t, std::string_view name, const auto &value_a) {
            if (name.ends_with("_offset") || name.ends_with("_size") || name == "vertex_stride")
                return;
            R::visit(b, [&](size_t, std::string_view name_b, const auto &value_b) {
                if constexpr (std::is_same_v<decltype(value_a), decltype(value_b)>)
                    if (name == name_b && !same(value_a, value_b))
                        add_values(kind, index, std::string(name), value_a, value_b);
            });
        });
    }

    template <class T>
    void compare_streams(uint32_t piece, const std::string &name, const kmg_view_t<T> &a,
                         const kmg_view_t<T> &b) {
        const auto kind = kmg_record_kind_t::piece;
        if (a.empty() != b.empty())
            return add(kind, piece, name, a.empty() ? "absent" : "present", b.empty() ? "absent" : "present");
        if (a.size() != b.size())
            return; // told by the count
        kmg_difference_t difference{kind, piece, name, true, {}, {}};
        difference.of = a.size();
        for (size_t i = 0; i < a.size(); ++i) {
            const T value_a = a[i], value_b = b[i];
            if (same(value_a, value_b))
                continue;
            if (difference.count++ == 0) {
                difference.first = i;
                difference.a = values_text(value_a);
                difference.b = values_text(value_b);
            }
            difference.largest = larger(difference.largest, distance(value_a, value_b));
        }
        if (difference.count != 0)
            found_.push_back(std::move(difference));
    }

    std::vector<kmg_difference_t> take() { return std::move(found_); }

  private:
    template <class T>
    void add_values(kmg_record_kind_t kind, uint32_t index, std::string name, const T &a, const T &b) {
        const bool is_name = name == "name";
        add(kind, index, std::move(name), field_text(is_name, a), field_text(is_name, b));
        if constexpr (!std::is_arithmetic_v<T>) {
            found_.back().of = a.size();
            for (size_t i = 0; i < a.size(); ++i)
                found_.back().count += !same(a[i], b[i]);
            found_.back().largest = distance(a, b);
        }
    }
    template <class T>
    static std::string field_text(bool is_name, const T &value) {
        if constexpr (std::is_same_v<T, uint64_t>)
            return is_name ? token_text(value) : concat(hex_t{value});
        else
            return values_text(value);
    }

    std::vector<kmg_difference_t> found_;
};

template <class R>
void compare_sections(kmg_record_kind_t kind, const kmg_view_t<R> &a, const kmg_view_t<R> &b,
                      differences_t &differences) {
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i)
        differences.compare_records(kind, static_cast<uint32_t>(i), a[i], b[i]);
}

void compare_hookups(const kmg_reader_t &a, const kmg_reader_t &b, differences_t &differences) {
    for (size_t i = 0; i < std::min(a.locators().size(), b.locators().size()); ++i) {
        const auto text_a = a.hookup_of(a.locators()[i]);
        const auto text_b = b.hookup_of(b.locators()[i]);
        if (text_a != text_b)
            differences.add(kmg_record_kind_t::locator, static_cast<uint32_t>(i), "hookup_text",
                            text_a ? quoted(*text_a) : "none", text_b ? quoted(*text_b) : "none");
    }
}

void compare_pieces(const kmg_reader_t &a, const kmg_reader_t &b, differences_t &differences) {
    for (uint32_t i = 0; i < std::min(a.header().piece_count, b.header().piece_count); ++i) {
        const kmg_piece_data_t data_a = a.data_of(a.pieces()[i]);
        const kmg_piece_data_t data_b = b.data_of(b.pieces()[i]);
        differences.compare_records(kmg_record_kind_t::piece, i, a.pieces()[i], b.pieces()[i]);
        differences.compare_streams(i, "positions", data_a.positions, data_b.positions);
        differences.compare_streams(i, "normals", data_a.normals, data_b.normals);
        differences.compare_streams(i, "tangents", data_a.tangents, data_b.tangents);
        differences.compare_streams(i, "colours", data_a.colours, data_b.colours);
        differences.compare_streams(i, "factors", data_a.factors, data_b.factors);
        for (size_t channel = 0; channel < kmg_max_uv_channels; ++channel)
            differences.compare_streams(i, concat("uv", channel), data_a.uv_channels[channel],
                                        data_b.uv_channels[channel]);
        differences.compare_streams(i, "bones", data_a.bone_indices, data_b.bone_indices);
        differences.compare_streams(i, "weights", data_a.bone_weights, data_b.bone_weights);
        differences.compare_streams(i, "indices", data_a.indices, data_b.indices);
    }
}

} // namespace

std::vector<kmg_difference_t> diff_kmg(const kmg_reader_t &a, const kmg_reader_t &b) {
    differences_t differences;
    differences.compare_records(kmg_record_kind_t::header, 0, a.header(), b.header());
    compare_sections(kmg_record_kind_t::bone, a.bones(), b.bones(), differences);
    compare_sections(kmg_record_kind_t::part, a.parts(), b.parts(), differences);
    compare_sections(kmg_record_kind_t::locator, a.locators(), b.locators(), differences);
    compare_hookups(a, b, differences);
    compare_pieces(a, b, differences);
    return differences.take();
}

std::string to_text(const kmg_difference_t &difference) {
    std::string text = concat(to_text(difference.kind, difference.index), ": ");
    const std::string values = concat(difference.a, " | ", difference.b);
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
