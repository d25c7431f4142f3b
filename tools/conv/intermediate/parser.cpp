#include "tools/conv/intermediate/parser.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string_dyn.h"
#include "tools/conv/intermediate/plain_items.h"

#include <bit>
#include <cstring>

namespace kestrel {

bool parser_t::fail(const char *message) {
    msg_error("%s:%d: %s [ token '%s' ]", scanner_.file_name(), scanner_.line(), message,
              string_dyn_t(scanner_.token_text()).c_str());
    return false;
}

bool parser_t::integer(uint32_t &value) {
    if (!expect(token_kind_t::integer))
        return false;
    value = scanner_.integer();
    return true;
}

bool parser_t::text(mstring_t &value) {
    if (!expect(token_kind_t::string))
        return false;
    value.assign(scanner_.string());
    return true;
}

bool parser_t::reals(std::span<float> values) {
    if (!expect(token_kind_t::left_parenthesis))
        return false;
    for (float &value : values) {
        if (!expect(token_kind_t::real))
            return false;
        value = scanner_.real();
    }
    return expect(token_kind_t::right_parenthesis);
}

bool parser_t::weight_value(float &value) {
    if (next_is(token_kind_t::integer))
        value = static_cast<float>(scanner_.integer());
    else if (next_is(token_kind_t::real))
        value = scanner_.real();
    else
        return syntax_error();
    take();
    return true;
}

bool parser_t::format(stream_format_t &value) {
    static constexpr struct {
        token_kind_t keyword;
        stream_format_t format;
    } formats[] = {
        {"FLOAT"_kw, stream_format_t::float1},      {"FLOAT2"_kw, stream_format_t::float2},
        {"FLOAT3"_kw, stream_format_t::float3},     {"FLOAT4"_kw, stream_format_t::float4},
        {"FLOAT5"_kw, stream_format_t::float5},     {"FLOAT6"_kw, stream_format_t::float6},
        {"INT"_kw, stream_format_t::int1},          {"INT2"_kw, stream_format_t::int2},
        {"FLOAT4X4"_kw, stream_format_t::float4x4}, {"QUATERNION"_kw, stream_format_t::quaternion},
        {"STRING"_kw, stream_format_t::string},
    };
    if (!label("FORMAT"_kw))
        return false;
    for (const auto &candidate : formats) {
        if (next_is(candidate.keyword)) {
            value = candidate.format;
            take();
            return true;
        }
    }
    return syntax_error();
}

namespace {

// May a tuple of this kind end after `count` literals?
bool may_end(uint32_t kind, uint32_t count) {
    switch (kind) {
    case tuple_t::strings:
        return count == 1;
    case tuple_t::integers:
        return count >= 1 && count <= 3;
    default:
        return (count >= 1 && count <= 6) || count == 16;
    }
}

uint32_t most_literals(uint32_t kind) {
    return kind == tuple_t::strings ? 1 : kind == tuple_t::integers ? 3 : 16;
}

} // namespace

bool parser_t::tuple(tuple_t &value) {
    if (!expect(token_kind_t::left_parenthesis))
        return false;
    token_kind_t literal = peek();
    const uint32_t kind = literal == token_kind_t::string    ? tuple_t::strings
                          : literal == token_kind_t::integer ? tuple_t::integers
                          : literal == token_kind_t::real    ? tuple_t::reals
                                                             : tuple_t::any;
    if (kind == tuple_t::any || (value.shape != tuple_t::any && value.kind() != kind))
        return syntax_error();
    const uint32_t most = value.shape == tuple_t::any ? most_literals(kind) : value.count();
    uint32_t count = 0;
    for (; count < most && next_is(literal); ++count) {
        take();
        if (kind == tuple_t::strings) {
            std::memset(value.data, 0, sizeof value.data);
            std::memcpy(value.data, scanner_.string().data(), scanner_.string().size());
        } else {
            const uint32_t bits =
                kind == tuple_t::integers ? scanner_.integer() : std::bit_cast<uint32_t>(scanner_.real());
            std::memcpy(value.data + count * sizeof bits, &bits, sizeof bits);
        }
    }
    const bool complete = value.shape == tuple_t::any ? may_end(kind, count) : count == most;
    if (!complete || !next_is(token_kind_t::right_parenthesis))
        return syntax_error();
    take();
    value.shape = kind + count;
    return true;
}

bool parser_t::item(kix_stream_t &stream, tuple_t &scratch) {
    uint32_t index = 0;
    if (!integer(index) || !tuple(scratch))
        return false;
    if (index != stream.count())
        return fail("inconsistent Stream item order");
    if (!stream.append_item(scratch.data))
        return fail("inconsistent Stream item type/count");
    return true;
}

bool parser_t::items(kix_stream_t &stream, uint32_t shape) {
    tuple_t scratch;
    scratch.shape = shape;
    for (;;) {
        // Runs of plainly written items take the short way; whatever is unusual about one, the grammar sees.
        if (!peeked_ && scratch.kind() > tuple_t::strings)
            scan_plain_items(scanner_, stream, scratch.kind() == tuple_t::reals, scratch.count());
        if (!next_is(token_kind_t::integer))
            return true;
        if (!item(stream, scratch))
            return false;
    }
}

bool parser_t::header(kix_header_t *&header) {
    kix_header_t fields;
    name_t unused;
    if (!open("HEADER"_kw) || !integer_field("FORMATVERSION"_kw, fields.format_version) ||
        !text_field("SOURCE"_kw, fields.source) || !text_field("TYPE"_kw, fields.type) ||
        !text_field("NAME"_kw, fields.name))
        return false;
    while (next_is("DEPENDENCY"_kw))
        if (!text_field("DEPENDENCY"_kw, unused))
            return false;
    if (!close() || !create(header))
        return false;
    header->format_version = fields.format_version;
    header->source = fields.source;
    header->type = fields.type;
    header->name = fields.name;
    return true;
}

} // namespace kestrel
