#include "tools/build/decision.h"

#include "kcore/strings/utf.h"
#include "tools/build/console.h"

namespace kestrel {

file_stamp_t source_stamps_t::of(const std::string &path) {
    const auto [known, is_new] = stamps_.try_emplace(path);
    if (is_new)
        known->second = stamp_of(paths_.source(path));
    return known->second;
}

static std::string describe_change(std::string_view path, const file_stamp_t &was, const file_stamp_t &is) {
    const std::string name = printable(path);
    if (!is.exists())
        return name + " is gone";
    if (!was.exists())
        return name + " changed while it was converted";
    if (was.size != is.size)
        return name + " has changed, from " + std::to_string(was.size) + " to " + std::to_string(is.size) +
               " bytes";
    return name + " has changed";
}

std::optional<std::string> why_out_of_date(const model_t &model, const seen_model_t *seen,
                                           const model_options_t &options, const converter_t &converter,
                                           source_stamps_t &stamps) {
    if (!model.output.is_there)
        return "it has no output";
    if (!model.record.exists())
        return "it has no record of what its output was made from";
    if (!seen)
        return "nothing is known of its last conversion";
    if (model.output.stamp.exists() && model.output.stamp != seen->output)
        return "its output is not the one that was made last";
    if (model.record != seen->record)
        return "its record is not the one that was made last";
    if (seen->version != converter.version)
        return "it was converted by version " + printable(seen->version) + ", the converter is version " +
               converter.version;
    if (seen->converter != converter.hash)
        return "it was converted by another build of the converter";
    if (seen->options != options)
        return "its options were " + describe(seen->options) + " and are " + describe(options);
    if (model.source != seen->source)
        return describe_change(model.path, seen->source, model.source);
    for (const seen_source_t &source : seen->further)
        if (const file_stamp_t now = stamps.of(source.path); now != source.stamp || !now.exists())
            return describe_change(source.path, source.stamp, now);
    return std::nullopt;
}

std::optional<std::string> why_not_convertible(std::string_view model) {
    for (std::string_view left = model; !left.empty();) {
        const auto decoded = decode_utf8(left);
        if (!decoded)
            return "its name is not valid UTF-8, which the converter does not take";
        left.remove_prefix(decoded->length);
    }
    if (model.find('\\') != std::string_view::npos)
        return "its name has a backslash, which stands for a folder in the converter's paths";
    if (model.find_first_of("\r\n") != std::string_view::npos)
        return "its name has a line break, which a record cannot hold";
    return std::nullopt;
}

} // namespace kestrel
