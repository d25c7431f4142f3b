#include "tools/kmg/file_bytes.h"

#include "kcore/core/core.h"
#include "kcore/messages/messages.h"
#include "kcore/strings/utf8_path.h"
#include "tools/kmg/concat.h"
#include "tools/kmg/kmg_layout_and_limits.h"
#include "tools/kmg/platform/file_calls.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace kestrel {

namespace {

using stream_t = std::unique_ptr<std::FILE, int (*)(std::FILE *)>;

stream_t open_stream(const std::string &path) {
    return {open_to_read(path), std::fclose};
}

const char *kind_text(mode_t mode) {
    return S_ISDIR(mode)    ? "is a folder"
           : S_ISFIFO(mode) ? "is a pipe"
           : S_ISREG(mode)  ? "is a file"
                            : "is a device";
}

// Why the path must not be replaced; null when it may.
const char *why_not_replace(const std::string &path) {
    if (path.ends_with(".kmg"))
        return "has the name of a geometry file";
    struct stat status;
    if (!find_status(path, status))
        return nullptr;
    if (!S_ISREG(status.st_mode))
        return kind_text(status.st_mode);
    const stream_t file = open_stream(path);
    std::byte start[sizeof kmg_signature];
    if (!file || std::fread(start, 1, sizeof start, file.get()) != sizeof start)
        return nullptr;
    uint32_t signature;
    little_endian::get(start, signature);
    return signature == kmg_signature ? "is a geometry file" : nullptr;
}

} // namespace

int run_tool(const char *name, const std::function<int()> &tool) {
    int status = status_unreadable;
    try {
        core_initialize();
        status = tool();
        core_shutdown();
    } catch (const std::bad_alloc &) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s: memory has run out\n", name);
    }
    return status;
}

std::optional<std::vector<std::byte>> read_file(const std::string &path, std::string *failure) {
    const auto fail = [&](const char *what, const char *why) {
        if (failure)
            *failure = concat(what, ": ", why);
        msg_error("%s: %s: %s", path.c_str(), what, why);
        return std::nullopt;
    };
    const stream_t file = open_stream(path);
    const int error = errno;
    struct stat status;
    if (file ? fstat(fileno(file.get()), &status) != 0
             : !find_status(path, status) || !S_ISDIR(status.st_mode))
        return fail("cannot be opened", std::strerror(error));
    if (!S_ISREG(status.st_mode))
        return fail("cannot be read", kind_text(status.st_mode));
    std::vector<std::byte> bytes(static_cast<size_t>(status.st_size));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    if (std::ferror(file.get()))
        return fail("cannot be read", std::strerror(errno));
    return bytes;
}

std::unique_ptr<output_file_t> output_file_t::create(const std::string &path) {
    // Of a link, what it leads to is meant.
    std::error_code ignored;
    const bool is_link = std::filesystem::is_symlink(utf8_path(path), ignored);
    const std::string target =
        is_link ? utf8_text(std::filesystem::weakly_canonical(utf8_path(path), ignored)) : path;
    if (const char *why = why_not_replace(target)) {
        msg_error("%s: %s and is not written over", path.c_str(), why);
        return nullptr;
    }
    std::string temporary;
    std::FILE *const file = create_unfinished(target, temporary);
    if (!file) {
        msg_error("%s: cannot be created: %s", path.c_str(), std::strerror(errno));
        return nullptr;
    }
    return std::unique_ptr<output_file_t>(new output_file_t(target, temporary, file));
}

output_file_t::~output_file_t() {
    if (file_)
        std::fclose(file_);
    if (!committed_)
        remove_unfinished(temporary_);
}

void output_file_t::write(std::span<const std::byte> bytes) {
    if (error_ == 0 && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size())
        error_ = errno;
}

bool output_file_t::commit() {
    if (error_ == 0 && !finish(std::exchange(file_, nullptr), temporary_, path_))
        error_ = errno;
    committed_ = error_ == 0;
    if (!committed_)
        msg_error("%s: cannot be written: %s", path_.c_str(), std::strerror(error_));
    return committed_;
}

} // namespace kestrel
