#include "tools/conv/intermediate/parser.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"

namespace kestrel {

bool parser_t::fail(const char *message, uint64_t declared, uint64_t found) {
    if (scanner_.failed()) // which has been reported, and is all that is wrong
        return false;
    if (parse_observer_t *const observer = scanner_.observer())
        return observer->on_refusal({message, scanner_.token_offset(), declared, found});
    return msg_error("%s:%d: %s [ token '%s' ]", scanner_.file_name(), scanner_.line(), message,
                     string_dyn_t(scanner_.token_text()).c_str());
}

bool parser_t::unexpected(token_kind_t wanted) {
    miss(wanted);
    return syntax_error();
}

bool parser_t::integer(uint32_t &value) {
    if (!expect(token_kind_t::integer))
        return false;
    value = scanner_.integer();
    return true;
}

bool parser_t::text_field(token_kind_t keyword, mstring_t &value) {
    if (!label(keyword) || !expect(token_kind_t::string))
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
    if (peek() == token_kind_t::real)
        value = scanner_.real();
    else if (peek() == token_kind_t::integer)
        value = static_cast<float>(scanner_.integer());
    else
        return miss(token_kind_t::integer) || unexpected(token_kind_t::real);
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

bool parser_t::header(kix_header_t *&header) {
    header = create<kix_header_t>();
    if (!open("HEADER"_kw) || !integer_field("FORMATVERSION"_kw, header->format_version) ||
        !text_field("SOURCE"_kw, header->source) || !text_field("TYPE"_kw, header->type) ||
        !text_field("NAME"_kw, header->name))
        return false;
    for (name_t unused; next_is("DEPENDENCY"_kw);)
        if (!text_field("DEPENDENCY"_kw, unused))
            return false;
    return close();
}

} // namespace kestrel
