#include "tools/kmg/kmg_json.h"

#include "tools/kmg/concat.h"
#include "tools/kmg/file_facts.h"
#include "tools/kmg/kmg_check.h"
#include "tools/kmg/piece_facts.h"
#include "tools/kmg/token_text.h"
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

json_t sections_to_json(const kmg_header_t &header) {
    json_t sections = json_t::array();
    for (const section_t &section : sections_of(header))
        sections.push_back({{"name", section.name}, {"offset", section.offset}, {"size", section.size}});
    return sections;
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
    const auto range = index_range(data.indices);
    result["index_minimum"] = range ? json_t(range->first) : json_t(nullptr);
    result["index_maximum"] = range ? json_t(range->last) : json_t(nullptr);
    result["vertex_cache"] = vertex_cache_to_json(piece, data);
    return result;
}

json_t locator_to_json(const kmg_reader_t &file, const kmg_locator_t &locator) {
    json_t result = record_to_json(locator);
    const auto hookup = file.hookup_of(locator);
    result["hookup_text"] = hookup ? json_t(*hookup) : json_t(nullptr);
    return result;
}

json_t strings_to_json(const kmg_reader_t &file) {
    json_t strings = json_t::array();
    for (const pool_string_t &string : strings_of(file.string_pool()))
        strings.push_back({{"offset", string.offset}, {"text", string.text}});
    return strings;
}

template <class R>
json_t records_to_json(const kmg_view_t<R> &records) {
    json_t result = json_t::array();
    for (const R record : records)
        result.push_back(record_to_json(record));
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

} // namespace

struct kmg_json_t::document_t {
    json_t files = json_t::array();
};

kmg_json_t::kmg_json_t() : document_(std::make_unique<document_t>()) {}
kmg_json_t::~kmg_json_t() = default;

void kmg_json_t::add_file(std::string_view name, const kmg_reader_t &file) {
    json_t result = {{"file", name}, {"size", file.bytes().size()}};
    result["header"] = record_to_json(file.header());
    result["sections"] = sections_to_json(file.header());
    result["bones"] = records_to_json(file.bones());
    result["parts"] = records_to_json(file.parts());
    json_t locators = json_t::array();
    for (const kmg_locator_t locator : file.locators())
        locators.push_back(locator_to_json(file, locator));
    result["locators"] = std::move(locators);
    json_t pieces = json_t::array();
    const auto parts = parts_of_pieces(file);
    for (size_t i = 0; i < file.pieces().size(); ++i)
        pieces.push_back(piece_to_json(file, file.pieces()[i], parts[i]));
    result["pieces"] = std::move(pieces);
    result["strings"] = strings_to_json(file);
    document_->files.push_back(std::move(result));
}

void kmg_json_t::add_findings(std::string_view name, std::span<const kmg_finding_t> findings) {
    json_t list = json_t::array();
    for (const kmg_finding_t &finding : findings)
        list.push_back({{"severity", name_of(kind_of(finding.code).severity)},
                        {"code", kind_of(finding.code).name},
                        {"place", place_to_json(finding.place)},
                        {"text", finding.text},
                        {"more", finding.more}});
    document_->files.push_back(
        {{"file", name}, {"sound", !has_error(findings)}, {"findings", std::move(list)}});
}

void kmg_json_t::add_differences(std::string_view name_a, std::string_view name_b,
                                 std::span<const kmg_difference_t> differences) {
    json_t list = json_t::array();
    for (const kmg_difference_t &difference : differences) {
        json_t each = {{"record", name_of(difference.kind)}};
        if (difference.kind >= kmg_record_kind_t::bone)
            each["index"] = difference.index;
        each[difference.stream ? "stream" : "field"] = difference.what;
        if (difference.of != 0) {
            each["count"] = difference.count;
            each["of"] = difference.of;
            each["largest"] = to_json(difference.largest);
        }
        if (difference.stream)
            each["first"] = difference.first;
        each["a"] = difference.a;
        each["b"] = difference.b;
        list.push_back(std::move(each));
    }
    document_->files.push_back({{"file", name_a}, {"other", name_b}, {"differences", std::move(list)}});
}

void kmg_json_t::add_failure(std::string_view name, std::string_view text) {
    document_->files.push_back({{"file", name}, {"failure", text}});
}

std::string kmg_json_t::text() const {
    const json_t document = {{"kmginfo", kmg_json_version}, {"files", document_->files}};
    return document.dump(2, ' ', false, json_t::error_handler_t::replace) + "\n";
}

} // namespace kestrel
