#pragma once

// Child processes: many at once, what they write, and how they end. Another system's implementation stands
// beside processes_posix.cpp.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

struct command_t {
    std::string program;                // its path
    std::vector<std::string> arguments; // the first is the name that the program is told
};

// How a process ended: with a status of its own, or by the system.
struct process_end_t {
    bool exited = false;
    int status = 0;
    std::string text; // such as "ended by signal 11 (Segmentation fault)"
};

enum class stream_t { output, errors };

class process_listener_t {
  public:
    virtual ~process_listener_t() = default;
    // What a process wrote, in pieces as they come.
    virtual void written(size_t process, stream_t stream, std::string_view text) = 0;
    // Once for each process, after everything that it wrote.
    virtual void ended(size_t process, const process_end_t &end) = 0;
};

// A user who wants everything to stop: by the interrupt key, or the system's request to end. From its making
// on, such a wish ends waits instead of the process.
class stop_wish_t {
  public:
    virtual ~stop_wish_t() = default;
    virtual bool came() = 0;
    // Ends this process in the way in which the wish would have, when it came.
    virtual void obey() = 0;
    virtual intptr_t wait_handle() const = 0; // the system's, readable or signalled when the wish comes
};
std::unique_ptr<stop_wish_t> make_stop_wish();

class processes_t {
  public:
    virtual ~processes_t() = default; // kills what still runs
    // The number is the caller's. Children do not get the terminal's signals.
    virtual std::error_code start(size_t process, const command_t &command) = 0;
    // Waits for a piece of text, an end or the wish to stop, at most so long.
    virtual void wait(std::chrono::milliseconds timeout, process_listener_t &listener) = 0;
    // Ends all at once and waits for their ends; nobody is told of them.
    virtual void kill_all() = 0;
    virtual size_t running() const = 0;
};
std::unique_ptr<processes_t> make_processes(stop_wish_t &stop);

} // namespace kestrel
