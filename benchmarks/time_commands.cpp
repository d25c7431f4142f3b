// time_commands: runs commands in turn, round after round, and prints what each cost at its best.
//
// The commands of one call see the same machine in the same minutes, so their ratios hold when its speed does
// not. Processor time is what counts, since waiting for other processes is not a command's own; the least of
// all rounds is the one that was disturbed least.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <span>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

namespace {

constexpr char usage[] =
    "Usage: time_commands ROUNDS NAME=COMMAND...\n"
    "Arguments of a COMMAND are separated by blanks. Prints a line for each:\n"
    "NAME, least and median processor seconds, least wall seconds, peak memory in KiB, page faults.\n";

struct run_t {
    bool succeeded;
    double processor_seconds;
    double wall_seconds;
    long peak_kibibytes;
    long page_faults;
};

struct command_t {
    std::string name;
    std::vector<std::string> arguments;
    std::vector<run_t> runs;
};

bool read_command(std::string_view text, command_t &command) {
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos)
        return false;
    command.name = text.substr(0, equals);
    for (text.remove_prefix(equals + 1); !text.empty();) {
        const size_t blank = std::min(text.find(' '), text.size());
        if (blank > 0)
            command.arguments.emplace_back(text.substr(0, blank));
        text.remove_prefix(std::min(blank + 1, text.size()));
    }
    return !command.arguments.empty();
}

double seconds_of(const timeval &time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

run_t run_once(command_t &command) {
    std::vector<char *> arguments;
    for (std::string &argument : command.arguments)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    for (const int stream : {1, 2})
        posix_spawn_file_actions_addopen(&quiet, stream, "/dev/null", O_WRONLY, 0);
    const auto start = std::chrono::steady_clock::now();
    pid_t process;
    int status = -1;
    rusage used{};
    const bool ran = posix_spawnp(&process, arguments[0], &quiet, nullptr, arguments.data(), environ) == 0 &&
                     wait4(process, &status, 0, &used) == process;
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    posix_spawn_file_actions_destroy(&quiet);
    return {ran && status == 0, seconds_of(used.ru_utime) + seconds_of(used.ru_stime), wall.count(),
            used.ru_maxrss, used.ru_minflt};
}

void print(const command_t &command) {
    std::vector<double> processor, wall;
    long peak = 0, faults = std::numeric_limits<long>::max();
    for (const run_t &run : command.runs) {
        processor.push_back(run.processor_seconds);
        wall.push_back(run.wall_seconds);
        peak = std::max(peak, run.peak_kibibytes);
        faults = std::min(faults, run.page_faults);
    }
    std::sort(processor.begin(), processor.end());
    std::sort(wall.begin(), wall.end());
    std::printf("%s\t%.6f\t%.6f\t%.6f\t%ld\t%ld\n", command.name.c_str(), processor.front(),
                processor[processor.size() / 2], wall.front(), peak, faults);
}

} // namespace

int main(int argument_count, char **arguments) {
    int rounds = 0;
    std::vector<command_t> commands;
    const std::span given(arguments, static_cast<size_t>(argument_count));
    bool understood = argument_count > 2 && (rounds = std::atoi(given[1])) > 0;
    for (size_t i = 2; understood && i < given.size(); ++i)
        understood = read_command(given[i], commands.emplace_back());
    if (!understood) {
        std::fputs(usage, stderr);
        return 2;
    }
    for (int round = 0; round < rounds; ++round) {
        for (command_t &command : commands) {
            command.runs.push_back(run_once(command));
            if (!command.runs.back().succeeded) {
                std::fprintf(stderr, "time_commands: %s failed\n", command.name.c_str());
                return 1;
            }
        }
    }
    for (const command_t &command : commands)
        print(command);
    return 0;
}
