#include "tools/build/platform/processes.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace kestrel {

namespace {

sigset_t stop_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    return signals;
}

class signal_wish_t final : public stop_wish_t {
  public:
    signal_wish_t() {
        const sigset_t signals = stop_signals();
        sigprocmask(SIG_BLOCK, &signals, nullptr);
        handle_ = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
        // A reader of our messages that goes away must not end the work half way.
        std::signal(SIGPIPE, SIG_IGN);
    }
    ~signal_wish_t() override { close(handle_); }

    bool came() override {
        signalfd_siginfo info;
        if (signal_ == 0 && read(handle_, &info, sizeof info) == static_cast<ssize_t>(sizeof info))
            signal_ = static_cast<int>(info.ssi_signo);
        return signal_ != 0;
    }
    void obey() override {
        if (signal_ == 0)
            return;
        std::signal(signal_, SIG_DFL);
        std::raise(signal_);
        const sigset_t signals = stop_signals();
        sigprocmask(SIG_UNBLOCK, &signals, nullptr);
    }
    intptr_t wait_handle() const override { return handle_; }

  private:
    int handle_ = -1;
    int signal_ = 0;
};

struct child_t {
    size_t number;
    pid_t process;
    std::array<int, 2> streams; // output and errors; -1 when at their end
};

process_end_t end_from(int status) {
    if (WIFEXITED(status))
        return {true, WEXITSTATUS(status), "ended with status " + std::to_string(WEXITSTATUS(status))};
    const int signal = WTERMSIG(status);
    return {false, signal, "ended by signal " + std::to_string(signal) + " (" + strsignal(signal) + ")"};
}

int wait_for(pid_t process) {
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

class spawned_processes_t final : public processes_t {
  public:
    explicit spawned_processes_t(stop_wish_t &stop) : stop_(stop) {}
    ~spawned_processes_t() override { kill_all(); }

    std::error_code start(size_t number, const command_t &command) override;
    void wait(std::chrono::milliseconds timeout, process_listener_t &listener) override;
    void kill_all() override;
    size_t running() const override { return children_.size(); }

  private:
    void read_stream(child_t &child, size_t stream, process_listener_t &listener);

    stop_wish_t &stop_;
    std::vector<child_t> children_;
    std::array<char, 1 << 16> buffer_;
};

// A group of its own keeps the terminal's signals from a child: it is this process that ends it.
int spawn(const command_t &command, int output, int errors, pid_t &process) {
    std::vector<char *> arguments;
    for (const std::string &argument : command.arguments)
        arguments.push_back(const_cast<char *>(argument.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t streams;
    posix_spawn_file_actions_init(&streams);
    posix_spawn_file_actions_addopen(&streams, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&streams, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&streams, errors, STDERR_FILENO);

    sigset_t none, defaults = stop_signals();
    sigemptyset(&none);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);

    const int error =
        posix_spawn(&process, command.program.c_str(), &streams, &attributes, arguments.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&streams);
    return error;
}

std::error_code spawned_processes_t::start(size_t number, const command_t &command) {
    int output[2], errors[2];
    if (pipe2(output, O_CLOEXEC) != 0)
        return {errno, std::generic_category()};
    if (pipe2(errors, O_CLOEXEC) != 0) {
        const int error = errno;
        close(output[0]);
        close(output[1]);
        return {error, std::generic_category()};
    }
    pid_t process = 0;
    const int error = spawn(command, output[1], errors[1], process);
    close(output[1]);
    close(errors[1]);
    if (error != 0) {
        close(output[0]);
        close(errors[0]);
        return {error, std::generic_category()};
    }
    children_.push_back({number, process, {output[0], errors[0]}});
    return {};
}

void spawned_processes_t::read_stream(child_t &child, size_t stream, process_listener_t &listener) {
    const ssize_t got = read(child.streams[stream], buffer_.data(), buffer_.size());
    if (got > 0) {
        listener.written(child.number, stream == 0 ? stream_t::output : stream_t::errors,
                         {buffer_.data(), static_cast<size_t>(got)});
    } else if (got == 0 || errno != EINTR) {
        close(child.streams[stream]);
        child.streams[stream] = -1;
    }
}

void spawned_processes_t::wait(std::chrono::milliseconds timeout, process_listener_t &listener) {
    std::vector<pollfd> handles{{static_cast<int>(stop_.wait_handle()), POLLIN, 0}};
    for (const child_t &child : children_)
        for (const int stream : child.streams)
            handles.push_back({stream, POLLIN, 0}); // a negative one is passed over
    if (poll(handles.data(), handles.size(), static_cast<int>(timeout.count())) <= 0 || stop_.came())
        return;
    std::vector<child_t> left;
    std::vector<child_t> gone;
    for (size_t c = 0; c < children_.size(); ++c) {
        child_t child = children_[c];
        for (size_t stream = 0; stream < 2; ++stream)
            if (handles[1 + c * 2 + stream].revents != 0)
                read_stream(child, stream, listener);
        const bool ended = child.streams[0] < 0 && child.streams[1] < 0;
        (ended ? gone : left).push_back(child);
    }
    children_ = std::move(left);
    for (const child_t &child : gone)
        listener.ended(child.number, end_from(wait_for(child.process)));
}

void spawned_processes_t::kill_all() {
    for (const child_t &child : children_)
        kill(child.process, SIGKILL);
    for (const child_t &child : children_) {
        wait_for(child.process);
        for (const int stream : child.streams)
            if (stream >= 0)
                close(stream);
    }
    children_.clear();
}

} // namespace

std::unique_ptr<stop_wish_t> make_stop_wish() {
    return std::make_unique<signal_wish_t>();
}

std::unique_ptr<processes_t> make_processes(stop_wish_t &stop) {
    return std::make_unique<spawned_processes_t>(stop);
}

} // namespace kestrel
