// Children write into pipes whose pieces all come through one completion port. They belong to a job, so that
// they end with this process whatever ends it.

#include "kcore/strings/platform/wide_text_windows.h"
#include "tools/build/platform/processes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <windows.h>

namespace kestrel {

namespace {

HANDLE stop_event() {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

// The interrupt key, the closed console, the end of the session: on a thread of the system's.
BOOL WINAPI note_wish(DWORD) {
    SetEvent(stop_event());
    return TRUE;
}

class console_wish_t final : public stop_wish_t {
  public:
    console_wish_t() { SetConsoleCtrlHandler(note_wish, TRUE); }

    bool came() override { return WaitForSingleObject(stop_event(), 0) == WAIT_OBJECT_0; }
    void obey() override {
        constexpr UINT ended_by_interrupt_key = 0xC000013A;
        if (!came())
            return;
        std::fflush(nullptr);
        ExitProcess(ended_by_interrupt_key);
    }
    intptr_t wait_handle() const override { return reinterpret_cast<intptr_t>(stop_event()); }
};

// One end of a pipe, read in pieces.
struct pipe_t : OVERLAPPED {
    HANDLE end = INVALID_HANDLE_VALUE;
    std::array<char, 1 << 14> buffer;

    pipe_t() : OVERLAPPED{} {}
    pipe_t(const pipe_t &) = delete;
    pipe_t &operator=(const pipe_t &) = delete;
    ~pipe_t() { close(); }

    bool is_open() const { return end != INVALID_HANDLE_VALUE; }
    void close() {
        if (is_open())
            CloseHandle(std::exchange(end, INVALID_HANDLE_VALUE));
    }
    // Closes it where there is nothing more to come.
    void read_on() {
        if (!ReadFile(end, buffer.data(), static_cast<DWORD>(buffer.size()), nullptr, this) &&
            GetLastError() != ERROR_IO_PENDING)
            close();
    }
};

struct child_t {
    size_t number = 0;
    HANDLE process = nullptr;
    std::array<pipe_t, 2> streams; // output and errors

    bool has_ended() const { return !streams[0].is_open() && !streams[1].is_open(); }
};

process_end_t end_of(HANDLE process) {
    DWORD status = 0;
    WaitForSingleObject(process, INFINITE);
    GetExitCodeProcess(process, &status);
    CloseHandle(process);
    if (status < 0x8000'0000)
        return {true, static_cast<int>(status), "ended with status " + std::to_string(status)};
    char text[32];
    std::snprintf(text, sizeof text, "ended by exception %08lX", status);
    return {false, static_cast<int>(status), text};
}

// As programs divide their command lines: backslashes count before a quote alone.
void append_quoted(std::string_view argument, std::string &line) {
    size_t backslashes = 0;
    line += '"';
    for (const char c : argument) {
        if (c == '"')
            line.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        line += c;
    }
    line.append(backslashes, '\\');
    line += '"';
}

std::wstring command_line_of(const command_t &command) {
    std::string line;
    for (const std::string &argument : command.arguments) {
        if (!line.empty())
            line += ' ';
        append_quoted(argument, line);
    }
    return utf8_to_wide(line);
}

// The child's end of a new pipe; invalid when there is none.
HANDLE make_pipe(pipe_t &pipe, HANDLE port) {
    static unsigned made = 0;
    const std::string name =
        "\\\\.\\pipe\\kimbuild-" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(made++);
    pipe.end = CreateNamedPipeA(name.c_str(),
                                PIPE_ACCESS_INBOUND | FILE_FLAG_OVERLAPPED | FILE_FLAG_FIRST_PIPE_INSTANCE,
                                PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, 0, 1 << 16, 0, nullptr);
    if (!pipe.is_open() || !CreateIoCompletionPort(pipe.end, port, 0, 0))
        return INVALID_HANDLE_VALUE;
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    return CreateFileA(name.c_str(), GENERIC_WRITE, 0, &inherited, OPEN_EXISTING, 0, nullptr);
}

class job_processes_t final : public processes_t {
  public:
    job_processes_t();
    ~job_processes_t() override;

    std::error_code start(size_t number, const command_t &command) override;
    void wait(std::chrono::milliseconds timeout, process_listener_t &listener) override;
    void kill_all() override;
    size_t running() const override { return children_.size(); }

  private:
    std::error_code spawn(const command_t &command, HANDLE output, HANDLE errors, HANDLE &process);
    void take(pipe_t &pipe, size_t count, process_listener_t &listener);

    const HANDLE port_ = CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    const HANDLE job_ = CreateJobObjectW(nullptr, nullptr);
    std::vector<std::unique_ptr<child_t>> children_;
};

job_processes_t::job_processes_t() {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    SetInformationJobObject(job_, JobObjectExtendedLimitInformation, &limits, sizeof limits);
}

job_processes_t::~job_processes_t() {
    kill_all();
    CloseHandle(job_);
    CloseHandle(port_);
}

// Without a window or a part in this console: it is this process that ends a child.
std::error_code job_processes_t::spawn(const command_t &command, HANDLE output, HANDLE errors,
                                       HANDLE &process) {
    SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
    const HANDLE nothing = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited,
                                       OPEN_EXISTING, 0, nullptr);
    STARTUPINFOW streams{};
    streams.cb = sizeof streams;
    streams.dwFlags = STARTF_USESTDHANDLES;
    streams.hStdInput = nothing;
    streams.hStdOutput = output;
    streams.hStdError = errors;
    PROCESS_INFORMATION made;
    std::wstring line = command_line_of(command);
    const BOOL started =
        CreateProcessW(utf8_to_wide(command.program).c_str(), line.data(), nullptr, nullptr, TRUE,
                       CREATE_NO_WINDOW | CREATE_SUSPENDED, nullptr, nullptr, &streams, &made);
    const std::error_code error = started ? std::error_code() : wide_call_error();
    CloseHandle(nothing);
    if (error)
        return error;
    AssignProcessToJobObject(job_, made.hProcess);
    ResumeThread(made.hThread);
    CloseHandle(made.hThread);
    process = made.hProcess;
    return {};
}

std::error_code job_processes_t::start(size_t number, const command_t &command) {
    auto child = std::make_unique<child_t>();
    child->number = number;
    const HANDLE output = make_pipe(child->streams[0], port_);
    const HANDLE errors = make_pipe(child->streams[1], port_);
    const bool has_pipes = output != INVALID_HANDLE_VALUE && errors != INVALID_HANDLE_VALUE;
    const std::error_code error =
        has_pipes ? spawn(command, output, errors, child->process) : wide_call_error();
    for (const HANDLE end : {output, errors})
        if (end != INVALID_HANDLE_VALUE)
            CloseHandle(end);
    if (error)
        return error;
    for (pipe_t &pipe : child->streams)
        pipe.read_on();
    children_.push_back(std::move(child));
    return {};
}

void job_processes_t::take(pipe_t &pipe, size_t count, process_listener_t &listener) {
    const auto owner = std::find_if(children_.begin(), children_.end(), [&](const auto &child) {
        return &pipe == &child->streams[0] || &pipe == &child->streams[1];
    });
    if (owner == children_.end())
        return; // it was killed
    child_t &child = **owner;
    const stream_t stream = &pipe == &child.streams[0] ? stream_t::output : stream_t::errors;
    if (count > 0)
        listener.written(child.number, stream, {pipe.buffer.data(), count});
}

void job_processes_t::wait(std::chrono::milliseconds timeout, process_listener_t &listener) {
    DWORD count = 0;
    ULONG_PTR key;
    OVERLAPPED *about = nullptr;
    const BOOL succeeded =
        GetQueuedCompletionStatus(port_, &count, &key, &about, static_cast<DWORD>(timeout.count()));
    if (about) {
        auto &pipe = *static_cast<pipe_t *>(about);
        take(pipe, count, listener);
        if (succeeded)
            pipe.read_on();
        else
            pipe.close();
    }
    for (size_t c = children_.size(); c-- > 0;) {
        if (!children_[c]->has_ended())
            continue;
        const std::unique_ptr<child_t> child = std::move(children_[c]);
        children_.erase(children_.begin() + static_cast<ptrdiff_t>(c));
        listener.ended(child->number, end_of(child->process));
    }
}

// Their pipes break, which comes through the port as long as they are there.
void job_processes_t::kill_all() {
    struct nobody_t final : process_listener_t {
        void written(size_t, stream_t, std::string_view) override {}
        void ended(size_t, const process_end_t &) override {}
    } nobody;
    for (const auto &child : children_)
        TerminateProcess(child->process, 1);
    while (!children_.empty())
        wait(std::chrono::milliseconds(100), nobody);
}

} // namespace

std::unique_ptr<stop_wish_t> make_stop_wish() {
    return std::make_unique<console_wish_t>();
}

std::unique_ptr<processes_t> make_processes(stop_wish_t &) {
    return std::make_unique<job_processes_t>();
}

} // namespace kestrel
