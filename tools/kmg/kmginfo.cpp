// kmginfo: prints, checks and compares geometry files.

#include "kcore/dependencies/dependency_file.h"
#include "kcore/messages/messages.h"
#include "kcore/strings/utf8_path.h"
#include "tools/kmg/command_line.h"
#include "tools/kmg/kmg_json.h"
#include "tools/kmg/kmg_print.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace kestrel {

namespace {

struct options_t {
    std::vector<std::string> files;
    bool json = false;
    bool all = false;
    bool check = false;
    bool strict = false;
    bool codes = false;
    bool diff = false;
    uint32_t limit = default_finding_limit;
    double tolerance = 0;
    std::optional<uint32_t> vertices; // of a piece
    std::optional<uint32_t> indices;
};

constexpr const char *examples = R"(Examples:
  kmginfo cab.kmg                      everything about one model
  kmginfo --check *.kmg                is anything wrong with these?
  find rsrc/*/@cache -name '*.kmg' -exec kmginfo --check --strict {} +
  kmginfo --json cab.kmg | jq '.files[].pieces[].vertex_count'
  kmginfo --vertices 3 cab.kmg         the vertices of piece 3 as CSV
  kmginfo --diff old.kmg new.kmg       what has changed?

Exit status: 0 when all is well, 1 when --check finds an error (with --strict,
or a warning) or --diff a difference, 2 when a file cannot be read or printed,
memory runs out or the command line is wrong.
)";

// One line on a terminal that tells how far a long run has come, while nothing else is printed.
class progress_t {
  public:
    explicit progress_t(size_t files) : files_(files), shown_(files > 1 && isatty(STDERR_FILENO)) {}
    void next() { ++file_; }
    void show(const std::string &file) const {
        if (shown_)
            std::fprintf(stderr, "\r\x1b[K[%zu/%zu] %s", file_, files_, file.c_str());
    }
    void clear() const {
        if (shown_)
            std::fputs("\r\x1b[K", stderr);
    }

  private:
    size_t files_;
    size_t file_ = 0;
    bool shown_;
};

void put(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

// The skeleton that the dependency file of a converted model names; none where there is no such file.
std::string recorded_skeleton(const std::string &file) {
    constexpr std::string_view outputs = "/@cache/", records = "/@dep/";
    std::string path = utf8_text(std::filesystem::absolute(utf8_path(file)).generic_u8string());
    const size_t folder = path.rfind(outputs);
    if (folder == std::string::npos)
        return {};
    path.replace(folder, outputs.size(), records);
    std::error_code error;
    const auto text = std::filesystem::is_regular_file(utf8_path(path), error)
                          ? read_file(path)
                          : std::optional<std::vector<std::byte>>();
    dependency_record_t record;
    if (!text ||
        !parse_dependency_text({reinterpret_cast<const char *>(text->data()), text->size()}, record, path) ||
        record.sources().size() < 2)
        return {};
    return std::string(record.sources()[1].view());
}

// The table of the documentation.
void put_codes() {
    for (const finding_kind_t &kind : finding_kinds())
        put(concat("| `", kind.name, "` | ", name_of(kind.severity), " | ", kind.meaning, " |\n"));
}

class kmginfo_t {
  public:
    explicit kmginfo_t(const options_t &options)
        : options_(options), style_{wants_colour(), options.all}, sink_(put) {
        if (options.json)
            json_.emplace(sink_);
    }

    int run() {
        if (options_.diff)
            diff(options_.files[0], options_.files[1]);
        else
            for_each_file();
        if (json_)
            json_->end();
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            msg_error("kmginfo: standard output cannot be written");
            raise(status_unreadable);
        }
        return status_;
    }

  private:
    void for_each_file() {
        progress_t progress(options_.files.size());
        for (const std::string &file : options_.files) {
            progress.next();
            const auto content = read(file);
            if (!content)
                continue;
            if (options_.check)
                check(file, *content, progress);
            else
                show(file, *content);
        }
    }

    void check(const std::string &file, std::span<const std::byte> bytes, const progress_t &progress) {
        progress.show(file);
        const auto findings = check_kmg(bytes, options_.limit, recorded_skeleton(file));
        progress.clear();
        const finding_counts_t found = count_findings(findings);
        if (found.errors != 0 || (options_.strict && found.warnings != 0))
            raise(status_found);
        if (json_)
            json_->add_findings(file, findings);
        else
            print_findings(file, findings, style_, sink_);
    }

    void show(const std::string &file, std::span<const std::byte> bytes) {
        const auto reader = open(file, bytes);
        if (!reader)
            return;
        if (options_.vertices)
            show_piece(file, *reader, *options_.vertices, vertices_csv);
        else if (options_.indices)
            show_piece(file, *reader, *options_.indices, indices_csv);
        else if (json_)
            json_->add_file(file, *reader);
        else {
            if (!std::exchange(first_, false))
                put("\n");
            print_file(file, *reader, count_findings(check_kmg(bytes, 0, recorded_skeleton(file))), style_,
                       sink_);
        }
    }

    void show_piece(const std::string &file, const kmg_reader_t &reader, uint32_t piece, auto &csv) {
        if (piece < reader.pieces().size())
            return csv(reader, reader.pieces()[piece], sink_);
        msg_error("%s: there is no piece %u, the file has %s", file.c_str(), piece,
                  concat(counted_t{reader.header().piece_count, "piece"}).c_str());
        raise(status_unreadable);
    }

    void diff(const std::string &file_a, const std::string &file_b) {
        const auto content_a = read(file_a);
        const auto content_b = read(file_b);
        if (!content_a || !content_b)
            return;
        const auto a = open(file_a, *content_a);
        const auto b = open(file_b, *content_b);
        if (!a || !b)
            return;
        if (json_)
            json_->begin_differences(file_a, file_b);
        diff_kmg(*a, *b, options_.tolerance, [&](const kmg_difference_t &difference) {
            raise(status_found);
            if (json_)
                json_->add_difference(difference);
            else
                put(concat(to_text(difference), "\n"));
        });
        if (json_)
            json_->end_differences();
    }

    std::optional<std::vector<std::byte>> read(const std::string &file) {
        std::string failure;
        auto content = read_file(file, &failure);
        if (!content)
            fail(file, failure);
        return content;
    }
    std::optional<kmg_reader_t> open(const std::string &file, std::span<const std::byte> bytes) {
        kmg_fault_t fault;
        auto reader = kmg_reader_t::open(bytes, &fault);
        if (!reader) {
            const std::string text =
                fault.code == kmg_fault_code_t::signature ? text_of(fault) : to_text(fault);
            msg_error("%s: %s", file.c_str(), text.c_str());
            fail(file, text);
        }
        return reader;
    }

    void fail(const std::string &file, const std::string &text) {
        raise(status_unreadable);
        if (json_)
            json_->add_failure(file, text);
    }
    void raise(status_t status) { status_ = std::max(status_, status); }

    const options_t &options_;
    const print_style_t style_;
    const text_sink_t sink_;
    std::optional<kmg_json_t> json_;
    status_t status_ = status_good;
    bool first_ = true;
};

// None when there is nothing to do but to leave with `status`.
std::optional<options_t> parse(int argument_count, char **arguments, int &status) {
    options_t options;
    command_line_t line("kmginfo", "Prints, checks and compares geometry files (.kmg).", examples);
    line.add_option("FILE", options.files, "geometry files");
    auto *json = line.add_flag("--json", options.json, "write JSON instead of text");
    auto *all = line.add_flag("--all", options.all, "print sections and vertex cache figures, too");
    auto *check = line.add_flag("--check", options.check, "tell everything that is wrong with the files");
    auto *strict = line.add_flag("--strict", options.strict, "with --check: exit status 1 for warnings, too");
    auto *limit = line.add_option("--limit", options.limit,
                                  "with --check: how many findings of one kind are told at one record (10); "
                                  "of one file it is ten times as many");
    auto *codes = line.add_flag("--codes", options.codes, "list the kinds of findings");
    auto *diff = line.add_flag("--diff", options.diff, "tell how two files differ");
    auto *tolerance = line.add_option("--tolerance", options.tolerance,
                                      "with --diff: reals that differ by no more are the same (0)");
    auto *vertices = line.add_option("--vertices", options.vertices, "dump the vertices of a piece as CSV");
    auto *indices = line.add_option("--indices", options.indices, "dump the triangles of a piece as CSV");
    vertices->type_name("PIECE")->excludes(json)->excludes(all);
    indices->type_name("PIECE")->excludes(json)->excludes(all);
    strict->needs(check);
    limit->type_name("N")->needs(check);
    tolerance->type_name("T")->needs(diff)->check(CLI::NonNegativeNumber);
    all->excludes(json)->excludes(check)->excludes(diff);
    codes->excludes(check)->excludes(diff);
    check->excludes(diff)->excludes(vertices)->excludes(indices);
    diff->excludes(vertices)->excludes(indices);
    vertices->excludes(indices);
    line.callback([&] {
        if (options.files.empty() && !options.codes)
            throw CLI::RequiredError("FILE");
        if (options.diff && options.files.size() != 2)
            throw CLI::ValidationError("--diff", "takes two files");
        if ((options.vertices || options.indices) && options.files.size() != 1)
            throw CLI::ValidationError(options.vertices ? "--vertices" : "--indices", "takes one file");
    });
    if (const auto left = line.parse(argument_count, arguments)) {
        status = *left;
        return std::nullopt;
    }
    return options;
}

} // namespace

} // namespace kestrel

int main(int argument_count, char **arguments) {
    using namespace kestrel;
    return run_tool("kmginfo", [&] {
        int status = status_good;
        const auto options = parse(argument_count, arguments, status);
        if (!options)
            return status;
        if (options->codes)
            put_codes();
        else
            status = kmginfo_t(*options).run();
        return status;
    });
}
