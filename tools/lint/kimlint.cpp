// kimlint: tells everything that is wrong with text models and skeletons.

#include "kcore/messages/messages.h"
#include "tools/kmg/command_line.h"
#include "tools/lint/lint_report.h"

#include <cstdio>
#include <set>

namespace kestrel {

namespace {

struct options_t {
    std::vector<std::string> files;
    lint_options_t lint;
    bool json = false;
    std::string format = "text";
    bool strict = false;
    bool quiet = false;
    bool codes = false;
};

constexpr const char *examples = R"(Examples:
  kimlint cab.kim                    the model and the skeleton that it names
  kimlint --quiet --strict *.kim     in a build: no notes, and no warnings either
  kimlint --format sarif *.kim > findings.sarif
  kimlint --json cab.kim | jq -r '.files[].findings[].code' | sort | uniq -c
  kimlint --codes                    everything that it knows to be wrong

Exit status: 0 when there is no error, 1 when there is one (with --strict, or a
warning), 2 when a file cannot be read, memory runs out or the command line is
wrong.
)";

void put(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

class kimlint_t {
  public:
    explicit kimlint_t(const options_t &options) : options_(options), style_{.colour = wants_colour()} {}

    int run() {
        for (const std::string &file : options_.files)
            for (linted_file_t &linted : lint_file(file, options_.lint))
                add(std::move(linted));
        if (options_.format == "json")
            put(to_json(kept_));
        else if (options_.format == "sarif")
            put(to_sarif(kept_));
        else
            std::fputs(summary().c_str(), stderr);
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            msg_error("kimlint: standard output cannot be written");
            return status_unreadable;
        }
        const bool found = counts_.errors != 0 || (options_.strict && counts_.warnings != 0);
        return failed_ != 0 ? status_unreadable : found ? status_found : status_good;
    }

  private:
    // Of a skeleton that several models name, the first time.
    void add(linted_file_t linted) {
        if (!seen_.insert(linted.name).second)
            return;
        if (options_.quiet)
            std::erase_if(linted.findings, [](const lint_finding_t &finding) {
                return kind_of(finding.code).severity == severity_t::note;
            });
        count_findings(linted.findings, counts_);
        if (!linted.failure.empty()) {
            ++failed_;
            msg_error("%s: %s", linted.name.c_str(), linted.failure.c_str());
        }
        if (options_.format != "text")
            return kept_.push_back(std::move(linted));
        for (const lint_finding_t &finding : linted.findings)
            put(to_line(linted.name, finding, style_));
    }

    std::string summary() const {
        return concat(counted_t{seen_.size(), "file"}, ": ", to_text(counts_),
                      failed_ != 0 ? concat(", ", failed_, " could not be read") : "", "\n");
    }

    const options_t &options_;
    const print_style_t style_;
    std::vector<linted_file_t> kept_;
    std::set<std::string> seen_;
    finding_counts_t counts_;
    size_t failed_ = 0; // files that could not be read
};

// None when there is nothing to do but to leave with `status`.
std::optional<options_t> parse(int argument_count, char **arguments, int &status) {
    options_t options;
    command_line_t line(
        "kimlint", "Tells everything that is wrong with text models and skeletons (.kim, .kis).", examples);
    line.add_option("FILE", options.files, "models and skeletons");
    line.add_option("--format", options.format, "text, json or sarif (text)")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "sarif"}));
    line.add_flag("--json", options.json, "the same as --format json")->excludes("--format");
    line.add_flag("--strict", options.strict, "exit status 1 for warnings, too");
    line.add_flag("--quiet", options.quiet, "leave out the notes");
    line.add_flag("--tangent", options.lint.tangent, "the models will be converted with -tangent");
    line.add_option("--limit", options.lint.limit, "how many findings of one kind are told in one file (10)")
        ->type_name("N");
    line.add_flag("--codes", options.codes, "list the kinds of findings");
    line.callback([&] {
        if (options.files.empty() && !options.codes)
            throw CLI::RequiredError("FILE");
    });
    if (const auto left = line.parse(argument_count, arguments)) {
        status = *left;
        return std::nullopt;
    }
    if (options.json)
        options.format = "json";
    return options;
}

} // namespace

} // namespace kestrel

int main(int argument_count, char **arguments) {
    using namespace kestrel;
    return run_tool("kimlint", [&] {
        int status = status_good;
        const auto options = parse(argument_count, arguments, status);
        if (!options)
            return status;
        if (options->codes)
            put(lint_code_table());
        else
            status = kimlint_t(*options).run();
        return status;
    });
}
