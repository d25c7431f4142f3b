// kmginfo: prints, checks and compares geometry files.

#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "tools/kmg/command_line.h"
#include "tools/kmg/file_bytes.h"
#include "tools/kmg/kmg_check.h"
#include "tools/kmg/kmg_csv.h"
#include "tools/kmg/kmg_json.h"
#include "tools/kmg/kmg_print.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace kestrel {

namespace {

struct options_t {
    std::vector<std::string> files;
    bool json = false;
    bool check = false;
    bool diff = false;
    uint32_t limit = default_finding_limit;
    std::optional<uint32_t> vertices; // of a piece
    std::optional<uint32_t> indices;
};

constexpr const char *examples = R"(Examples:
  kmginfo cab.kmg                      everything about one model
  kmginfo --check rsrc/**/*.kmg        is anything wrong with these?
  kmginfo --json cab.kmg | jq '.files[].pieces[].vertex_count'
  kmginfo --vertices 3 cab.kmg         the vertices of piece 3 as CSV
  kmginfo --diff old.kmg new.kmg       what has changed?

Exit status: 0 when all is well, 1 when --check finds an error or --diff a
difference, 2 when a file cannot be read or the command line is wrong.
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

print_style_t style_of_output() {
    const char *no_colour = std::getenv("NO_COLOR");
    return {isatty(STDOUT_FILENO) && (!no_colour || *no_colour == '\0')};
}

void put(const std::string &text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
}

class kmginfo_t {
  public:
    explicit kmginfo_t(const options_t &options) : options_(options), style_(style_of_output()) {}

    int run() {
        if (options_.diff)
            diff(options_.files[0], options_.files[1]);
        else
            for_each_file();
        if (options_.json)
            put(json_.text());
        if (std::fflush(stdout) != 0) {
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
            const auto bytes = read_file(file);
            if (!bytes)
                fail(file, "cannot be read");
            else if (options_.check)
                check(file, *bytes, progress);
            else
                show(file, *bytes);
        }
    }

    void check(const std::string &file, std::span<const std::byte> bytes, const progress_t &progress) {
        progress.show(file);
        const auto findings = check_kmg(bytes, options_.limit);
        progress.clear();
        if (has_error(findings))
            raise(status_found);
        if (options_.json)
            json_.add_findings(file, findings);
        else
            put(print_findings(file, findings, style_));
    }

    void show(const std::string &file, std::span<const std::byte> bytes) {
        const auto reader = open(file, bytes);
        if (!reader)
            return;
        if (options_.vertices)
            show_piece(file, *reader, *options_.vertices, vertices_csv);
        else if (options_.indices)
            show_piece(file, *reader, *options_.indices, indices_csv);
        else if (options_.json)
            json_.add_file(file, *reader);
        else
            put(print_file(file, *reader, style_));
    }

    void show_piece(const std::string &file, const kmg_reader_t &reader, uint32_t piece,
                    std::string (*csv)(const kmg_reader_t &, const kmg_piece_t &)) {
        if (piece < reader.pieces().size())
            return put(csv(reader, reader.pieces()[piece]));
        msg_error("%s: has no piece %u, only %u", file.c_str(), piece, reader.header().piece_count);
        raise(status_unreadable);
    }

    void diff(const std::string &file_a, const std::string &file_b) {
        const auto bytes_a = read_file(file_a);
        const auto bytes_b = read_file(file_b);
        if (!bytes_a)
            fail(file_a, "cannot be read");
        if (!bytes_b)
            fail(file_b, "cannot be read");
        if (!bytes_a || !bytes_b)
            return;
        const auto a = open(file_a, *bytes_a);
        const auto b = open(file_b, *bytes_b);
        if (!a || !b)
            return;
        const auto differences = diff_kmg(*a, *b);
        if (!differences.empty())
            raise(status_found);
        if (options_.json)
            json_.add_differences(file_a, file_b, differences);
        else
            put(print_differences(differences));
    }

    std::optional<kmg_reader_t> open(const std::string &file, std::span<const std::byte> bytes) {
        kmg_fault_t fault;
        auto reader = kmg_reader_t::open(bytes, &fault);
        if (!reader) {
            msg_error("%s: no sound geometry file: %s", file.c_str(), to_text(fault).c_str());
            fail(file, to_text(fault));
        }
        return reader;
    }

    void fail(const std::string &file, const std::string &text) {
        raise(status_unreadable);
        if (options_.json)
            json_.add_failure(file, text);
    }
    void raise(status_t status) { status_ = std::max(status_, status); }

    const options_t &options_;
    print_style_t style_;
    kmg_json_t json_;
    status_t status_ = status_good;
};

// None when there is nothing to do but to leave with `status`.
std::optional<options_t> parse(int argument_count, char **arguments, int &status) {
    options_t options;
    command_line_t line("kmginfo", "Prints, checks and compares geometry files (.kmg).", examples);
    line.add_option("FILE", options.files, "geometry files")->required();
    auto *json = line.add_flag("--json", options.json, "write JSON instead of text");
    auto *check = line.add_flag("--check", options.check, "tell everything that is wrong with the files");
    auto *diff = line.add_flag("--diff", options.diff, "tell how two files differ");
    auto *vertices = line.add_option("--vertices", options.vertices, "dump the vertices of a piece as CSV");
    auto *indices = line.add_option("--indices", options.indices, "dump the triangles of a piece as CSV");
    auto *limit = line.add_option("--limit", options.limit,
                                  "with --check: how many findings of one kind at one piece are told (10)");
    vertices->type_name("PIECE")->excludes(json);
    indices->type_name("PIECE")->excludes(json);
    limit->type_name("N")->needs(check);
    check->excludes(diff)->excludes(vertices)->excludes(indices);
    diff->excludes(vertices)->excludes(indices);
    vertices->excludes(indices);
    line.callback([&] {
        if (options.diff && options.files.size() != 2)
            throw CLI::ValidationError("--diff", "takes two files");
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
    int status = 0;
    const auto options = kestrel::parse(argument_count, arguments, status);
    if (!options)
        return status;
    kestrel::core_initialize();
    status = kestrel::kmginfo_t(*options).run();
    kestrel::core_shutdown();
    return status;
}
