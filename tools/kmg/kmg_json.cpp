#include "tools/kmg/kmg_json.h"

#include "tools/kmg/kmg_facts.h"
#include "tools/kmg/vertex_cache_statistics.h"

#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>

namespace kestrel {

namespace {

using json_t = nlohmann::ordered_json;

// The double that is written with the same digits as the single.
json_t to_json(float value) {
    if (!std::isfinite(value))
        return nullptr;
    const std::string digits = concat(value);
    double same_digits = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), same_digits);
    return same_digits;
}
json_t to_json(double value) {
    return std::isfinite(value) ? json_t(value) : json_t(nullptr);
}
json_t to_json(uint64_t value) {
    return concat(hex_t{value});
}
json_t to_json(uint32_t value) {
    return value;
}
json_t to_json(uint8_t value) {
    return value;
}
template <class T, size_t N>
json_t to_json(const std::array<T, N> &values) {
    json_t result = json_t::array();
    for (const T value : values)
        result.push_back(to_json(value));
    return result;
}

template <class R>
json_t record_to_json(const R &record) {
    json_t result;
    R::visit(record, [&](size_t, std::string_view name, const auto &member) {
        if constexpr (std::is_same_v<decltype(member), const uint64_t &>)
            if (name == "name") {
                result["name"] = token_text(member);
                result["name_token"] = to_json(member);
                return;
            }
        result[std::string(name)] = to_json(member);
    });
    return result;
}

json_t vertex_cache_to_json(const kmg_piece_t &piece, const kmg_piece_data_t &data) {
    json_t caches = json_t::array();
    for (const auto kind : {vertex_cache_kind_t::fifo, vertex_cache_kind_t::lru})
        for (const size_t entries : vertex_cache_sizes) {
            const auto statistics = measure_vertex_cache(data.indices, piece.vertex_count, kind, entries);
            caches.push_back({{"kind", kind == vertex_cache_kind_t::fifo ? "fifo" : "lru"},
                              {"entries", entries},
                              {"acmr", to_json(statistics.acmr())},
                              {"atvr", to_json(statistics.atvr())}});
        }
    return caches;
}

json_t piece_to_json(const kmg_reader_t &file, const kmg_piece_t &piece, uint32_t part) {
    json_t result = record_to_json(piece);
    const kmg_piece_data_t data = file.data_of(piece);
    result["part"] = part;
    json_t fields;
    for (const vertex_field_t &field : vertex_fields(piece))
        fields[field.name] = field.offset;
    result["vertex_fields"] = std::move(fields);
    json_t slots = json_t::array();
    for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot) {
        const auto channel = channel_of_slot(piece, slot);
        slots.push_back(channel ? json_t(*channel) : json_t(nullptr));
    }
    result["texture_coordinate_channels"] = std::move(slots);
    uint16_t minimum = UINT16_MAX, maximum = 0;
    for (const uint16_t index : data.indices) {
        minimum = std::min(minimum, index);
        maximum = std::max(maximum, index);
    }
    const bool empty = data.indices.empty();
    result["index_minimum"] = empty ? json_t(nullptr) : json_t(minimum);
    result["index_maximum"] = empty ? json_t(nullptr) : json_t(maximum);
    result["vertex_cache"] = vertex_cache_to_json(piece, data);
    return result;
}

json_t locator_to_json(const kmg_reader_t &file, const kmg_locator_t &locator) {
    json_t result = record_to_json(locator);
    const auto hookup = file.hookup_of(locator);
    result["hookup_text"] = hookup ? json_t(*hookup) : json_t(nullptr);
    return result;
}

json_t place_to_json(const kmg_place_t &place) {
    json_t result = {{"record", name_of(place.kind)}};
    if (place.kind >= kmg_record_kind_t::bone)
        result["index"] = place.index;
    if (place.vertex)
        result["vertex"] = *place.vertex;
    if (place.triangle)
        result["triangle"] = *place.triangle;
    result["byte"] = place.byte;
    return result;
}

json_t difference_to_json(const kmg_difference_t &difference) {
    json_t result = {{"record", name_of(difference.kind)}};
    if (difference.kind >= kmg_record_kind_t::bone)
        result["index"] = difference.index;
    if (!difference.name.empty())
        result["name"] = difference.name;
    result[difference.stream ? "stream" : "field"] = difference.what;
    if (difference.of != 0) {
        result["count"] = difference.count;
        result["of"] = difference.of;
        result["largest"] = to_json(difference.largest);
    }
    if (difference.stream)
        result["first"] = difference.first;
    result["a"] = difference.a;
    result["b"] = difference.b;
    return result;
}

std::string text_of(const json_t &json) {
    return json.dump(-1, ' ', false, json_t::error_handler_t::replace);
}

} // namespace

kmg_json_t::kmg_json_t(const text_sink_t &sink) : sink_(sink) {
    sink_(concat("{\"kmginfo\": ", kmg_json_version, ",\n\"files\": ["));
}

void kmg_json_t::begin_file() {
    sink_(first_file_ ? "\n" : ",\n");
    first_file_ = false;
}

void kmg_json_t::begin_list(std::string_view key) {
    sink_(concat(",\n\"", key, "\": ["));
    first_element_ = true;
}

void kmg_json_t::element(std::string_view text) {
    sink_(first_element_ ? "\n" : ",\n");
    sink_(text);
    first_element_ = false;
}

void kmg_json_t::end_list() {
    sink_(first_element_ ? "]" : "\n]");
}

void kmg_json_t::end() {
    sink_("\n]}\n");
}

void kmg_json_t::add_file(std::string_view name, const kmg_reader_t &file) {
    begin_file();
    sink_(concat("{\"file\": ", text_of(name), ",\n\"size\": ", file.bytes().size(),
                 ",\n\"header\": ", text_of(record_to_json(file.header()))));
    const auto list = [&](std::string_view key, const auto &items, auto &&to_object) {
        begin_list(key);
        for (const auto &item : items)
            element(text_of(to_object(item)));
        end_list();
    };
    list("sections", sections_of(file.header()), [](const section_t &section) {
        return json_t{{"name", section.name}, {"offset", section.offset}, {"size", section.size}};
    });
    const auto as_record = [](const auto &record) { return record_to_json(record); };
    list("bones", file.bones(), as_record);
    list("parts", file.parts(), as_record);
    list("locators", file.locators(),
         [&](const kmg_locator_t &locator) { return locator_to_json(file, locator); });
    const auto parts = parts_of_pieces(file);
    size_t piece_number = 0;
    list("pieces", file.pieces(),
         [&](const kmg_piece_t &piece) { return piece_to_json(file, piece, parts[piece_number++]); });
    begin_list("strings");
    for_each_string(file.string_pool(), [&](uint32_t offset, std::string_view text) {
        element(text_of({{"offset", offset}, {"text", text}}));
    });
    end_list();
    sink_("}");
}

void kmg_json_t::add_findings(std::string_view name, std::span<const kmg_finding_t> findings) {
    begin_file();
    sink_(concat("{\"file\": ", text_of(name), ",\n\"sound\": ", has_error(findings) ? "false" : "true"));
    begin_list("findings");
    for (const kmg_finding_t &finding : findings)
        element(text_of({{"severity", name_of(kind_of(finding.code).severity)},
                         {"code", kind_of(finding.code).name},
                         {"place", place_to_json(finding.place)},
                         {"text", finding.text},
                         {"more", finding.more}}));
    end_list();
    sink_("}");
}

void kmg_json_t::begin_differences(std::string_view name_a, std::string_view name_b) {
    begin_file();
    sink_(concat("{\"file\": ", text_of(name_a), ",\n\"other\": ", text_of(name_b)));
    begin_list("differences");
}

void kmg_json_t::add_difference(const kmg_difference_t &difference) {
    element(text_of(difference_to_json(difference)));
}

void kmg_json_t::end_differences() {
    end_list();
    sink_("}");
}

void kmg_json_t::add_failure(std::string_view name, std::string_view text) {
    begin_file();
    sink_(text_of({{"file", name}, {"failure", text}}));
}

} // namespace kestrel
