#include "tools/lint/lint_report.h"

#include <nlohmann/json.hpp>

namespace kestrel {

using json_t = nlohmann::ordered_json;

// "what was found; cure".
static std::string message_of(const lint_finding_t &finding) {
    return finding.more != 0 ? finding.text : concat(finding.text, "; ", kind_of(finding.code).cure);
}

std::string to_line(std::string_view file, const lint_finding_t &finding, print_style_t style) {
    const lint_kind_t &kind = kind_of(finding.code);
    return concat(
        styled(style, "1", concat(file, ":", finding.position.line, ":", finding.position.column, ":")), " ",
        coloured(style, kind.severity, name_of(kind.severity)), ": ", message_of(finding), " [", kind.name,
        "]\n");
}

std::string lint_code_table() {
    std::string table;
    for (const lint_kind_t &kind : lint_kinds())
        append(table, concat("| `", kind.name, "` | ", name_of(kind.severity), " | ", kind.meaning, " | ",
                             kind.cure, " |\n"));
    return table;
}

static std::string text_of(const json_t &document) {
    return document.dump(1, ' ', false, json_t::error_handler_t::replace) + "\n";
}

std::string to_json(std::span<const linted_file_t> files) {
    json_t list = json_t::array();
    for (const linted_file_t &file : files) {
        json_t entry = {{"file", file.name}};
        if (!file.failure.empty())
            entry["failure"] = file.failure;
        entry["findings"] = json_t::array();
        for (const lint_finding_t &finding : file.findings) {
            const lint_kind_t &kind = kind_of(finding.code);
            entry["findings"].push_back({{"severity", name_of(kind.severity)},
                                         {"code", kind.name},
                                         {"line", finding.position.line},
                                         {"column", finding.position.column},
                                         {"text", finding.text},
                                         {"cure", kind.cure},
                                         {"more", finding.more}});
        }
        list.push_back(std::move(entry));
    }
    return text_of({{"kimlint", lint_json_version}, {"files", list}});
}

// A path as a relative or file reference, with what may not stand in one escaped.
static std::string uri_of(std::string_view path) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
    std::string uri = path.starts_with('/') ? "file://" : "";
    for (const char c : path) {
        if (plain.find(c) != plain.npos)
            uri += c;
        else {
            uri += '%';
            uri += "0123456789ABCDEF"[static_cast<uint8_t>(c) >> 4];
            uri += "0123456789ABCDEF"[static_cast<uint8_t>(c) & 15];
        }
    }
    return uri;
}

std::string to_sarif(std::span<const linted_file_t> files) {
    json_t rules = json_t::array(), results = json_t::array(), notifications = json_t::array();
    for (const lint_kind_t &kind : lint_kinds())
        rules.push_back({{"id", kind.name},
                         {"shortDescription", {{"text", kind.meaning}}},
                         {"help", {{"text", kind.cure}}},
                         {"defaultConfiguration", {{"level", name_of(kind.severity)}}}});
    bool all_read = true;
    for (const linted_file_t &file : files) {
        const json_t location = {{"artifactLocation", {{"uri", uri_of(file.name)}}}};
        if (!file.failure.empty()) {
            all_read = false;
            notifications.push_back({{"level", "error"},
                                     {"message", {{"text", concat(file.name, ": ", file.failure)}}},
                                     {"locations", json_t::array({{{"physicalLocation", location}}})}});
        }
        for (const lint_finding_t &finding : file.findings) {
            json_t physical = location;
            physical["region"] = {{"startLine", finding.position.line},
                                  {"startColumn", finding.position.column}};
            results.push_back({{"ruleId", kind_of(finding.code).name},
                               {"ruleIndex", static_cast<size_t>(finding.code)},
                               {"level", name_of(kind_of(finding.code).severity)},
                               {"message", {{"text", message_of(finding)}}},
                               {"locations", json_t::array({{{"physicalLocation", physical}}})}});
        }
    }
    const json_t run = {
        {"tool", {{"driver", {{"name", "kimlint"}, {"version", KIM2KMG_VERSION}, {"rules", rules}}}}},
        {"invocations",
         json_t::array({{{"executionSuccessful", all_read}, {"toolExecutionNotifications", notifications}}})},
        {"columnKind", "unicodeCodePoints"},
        {"results", results}};
    return text_of({{"$schema", "https://json.schemastore.org/sarif-2.1.0.json"},
                    {"version", "2.1.0"},
                    {"runs", json_t::array({run})}});
}

} // namespace kestrel
