#include "tools/build/ninja.h"

#include "tools/build/model_sources.h"
#include "tools/build/platform/files.h"

namespace kestrel {

edge_t find_edge(const tree_paths_t &paths, const std::string &model, const model_options_t &options) {
    edge_t edge{model, {}, options};
    if (const auto record = read_record(paths.records + output_of(model)))
        edge.skeleton = record->sources.size() > 1 ? record->sources[1] : std::string();
    else
        edge.skeleton = skeleton_named_by(paths, model);
    // A source that is not there would stop the engine; the converter says better what is wrong.
    if (!edge.skeleton.empty() && !stamp_of(paths.source(edge.skeleton)).exists())
        edge.skeleton.clear();
    return edge;
}

static std::string prefixed(std::string_view text, std::string_view special, std::string_view prefix) {
    std::string result;
    for (const char c : text) {
        if (special.find(c) != std::string_view::npos)
            result += prefix;
        result += c;
    }
    return result;
}

static std::string ninja_path(std::string_view path) {
    return prefixed(path, "$ :", "$");
}

// For the shell that Ninja gives the command to, and before that for Ninja.
static std::string shell_word(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return prefixed(quoted + "'", "$", "$");
}

std::string ninja_file(const tree_paths_t &paths, std::span<const edge_t> edges) {
    std::string text = "# Written by kimbuild; include it with subninja.\n\nrule kim2kmg\n  command = " +
                       shell_word(paths.converter) + " $model -root " + shell_word(paths.root) +
                       " $options\n  description = kim2kmg $model\n\n";
    std::string all;
    for (const edge_t &edge : edges) {
        const std::string output = output_of(edge.model);
        const std::string geometry = ninja_path(paths.outputs + output);
        text += "build " + geometry + " | " + ninja_path(paths.records + output) + ": kim2kmg " +
                ninja_path(paths.source(edge.model)) + " |";
        if (!edge.skeleton.empty())
            text += " " + ninja_path(paths.source(edge.skeleton));
        text += " " + ninja_path(paths.converter) + "\n  model = " + shell_word(edge.model) + "\n  options =";
        for (const std::string &option : converter_arguments(edge.options))
            text += " " + option;
        text += "\n";
        all += " $\n    " + geometry;
    }
    return text + "\nbuild " + ninja_path("kimbuild-" + paths.root) + ": phony" + all + "\n";
}

std::string depfile(const tree_paths_t &paths, const edge_t &edge) {
    const auto path = [](const std::string &text) {
        std::string escaped;
        for (const char c : text) {
            if (c == ' ' || c == '#' || c == ':')
                escaped += '\\';
            else if (c == '$')
                escaped += '$';
            escaped += c;
        }
        return escaped;
    };
    std::string text = path(paths.outputs + output_of(edge.model)) + ": " + path(paths.source(edge.model));
    if (!edge.skeleton.empty())
        text += " \\\n " + path(paths.source(edge.skeleton));
    return text + "\n";
}

} // namespace kestrel
