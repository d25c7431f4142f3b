// kimbuild: the command line.

#include "kcore/core/platform/process.h"
#include "tools/build/build.h"
#include "tools/build/console.h"
#include "tools/kmg/command_line.h"

#include <charconv>
#include <thread>

using namespace kestrel;

namespace {

constexpr char examples[] = R"(Examples:
  kimbuild samples                       convert what is out of date
  kimbuild samples /model/actor          in one folder only
  kimbuild samples --dry-run             what would be converted, and why
  kimbuild samples --optimize --watch    convert what is saved, as it is saved
  kimbuild samples --lint                and what is wrong with those models
  kimbuild samples --shard 2/4           the second of four machines
  kimbuild samples --ninja models.ninja  leave the work to Ninja

Options for some models only are in ROOT/kimbuild.json:
  { "rules": [ { "models": "/model/actor/**", "options": ["optimize"] } ] }

Exit status: 0 when all is up to date now, 1 when something failed, 2 when
nothing could be tried.
)";

// "I/N", I from 1 on. Gives what is wrong.
std::string read_share(const std::string &text, share_t &share) {
    uint64_t part = 0, of = 0;
    const char *const end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, part);
    const bool has_slash = first.ptr != end && *first.ptr == '/';
    if (!has_slash || std::from_chars(first.ptr + 1, end, of).ptr != end || part < 1 || part > of)
        return "--shard wants I/N, from 1/N to N/N, not '" + text + "'";
    share = {part - 1, of};
    return {};
}

void add_options(command_line_t &command_line, build_settings_t &settings) {
    command_line.add_option("ROOT", settings.root, "the tree's source folder below the base")->required();
    command_line.add_option("PATH", settings.selection, "folders and models in the tree (all)");
    for (const option_name_t &option : option_names)
        command_line.add_flag(std::string("--") + option.name, settings.options.*option.flag, option.help);
    command_line.add_flag("-n,--dry-run", settings.dry_run,
                          "tell what would be converted, and why; do nothing");
    command_line.add_flag("--explain", settings.explain, "tell why each model is converted");
    command_line.add_flag("-f,--force", settings.force, "convert every model");
    command_line.add_flag("--check-outputs", settings.check_outputs,
                          "notice outputs that something else has changed");
    command_line.add_option("-j,--jobs", settings.jobs, "how many cores to keep busy (all there are)")
        ->type_name("N")
        ->check(CLI::Range(1, 1024));
    command_line.add_flag("--stop-at-first", settings.stop_at_first, "stop at the first model that fails");
    command_line.add_flag("--lint", settings.lint,
                          "show what is wrong with the sources of what is converted");
    command_line.add_flag("--prune", settings.prune, "remove outputs whose source is gone");
    command_line.add_flag("-v,--verbose", settings.verbose, "show the converter's information lines, too");
    command_line.add_option("--json", settings.json, "write a report for machines")->type_name("FILE");
    command_line
        .add_option_function<std::string>(
            "--shard",
            [&settings](const std::string &text) {
                if (const std::string error = read_share(text, settings.share); !error.empty())
                    throw CLI::ValidationError(error);
            },
            "take the I-th of N stable parts of all models")
        ->type_name("I/N");
    auto *const watch =
        command_line.add_flag("-w,--watch", settings.watch, "stay, and convert what is saved");
    for (const char *other : {"--dry-run", "--explain", "--force", "--stop-at-first", "--prune", "--json"})
        watch->excludes(other);
    command_line.add_flag("--no-wait", settings.no_wait, "end when another kimbuild is at work on the tree");
    command_line.add_option("--ninja", settings.ninja_file, "only write a Ninja file of all models")
        ->type_name("FILE");
    command_line
        .add_option("--depfile", settings.depfile,
                    "only write the dependencies of one model for Make and Ninja")
        ->type_name("FILE");
}

} // namespace

int main(int argument_count, char **arguments) {
    secure_standard_streams();
    build_settings_t settings;
    settings.jobs = std::max(std::thread::hardware_concurrency(), 1u);
    command_line_t command_line("kimbuild", "Brings the outputs of a tree of models up to date.", examples);
    add_options(command_line, settings);
    if (const auto status = command_line.parse(argument_count, arguments))
        return *status;
    const auto stop = make_stop_wish();
    build_status_t status = build_could_not_run;
    try {
        status = build_t(settings, *stop).run();
    } catch (const std::bad_alloc &) {
        say_error("memory exhausted");
    }
    stop->obey();
    return status;
}
