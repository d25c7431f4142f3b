#pragma once

// What the command-line tools for geometry files do around their work: exit statuses, whole files in and out,
// an end with a message when memory runs out.

#include <cstddef>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

enum status_t : int {
    status_good = 0,
    status_found = 1, // what was asked for went well and found something wrong
    status_unreadable =
        2, // a file could not be read or written, memory ran out, or the command line was wrong
};

// Runs the tool with the core started. When memory runs out, says so and gives status_unreadable.
int run_tool(const char *name, const std::function<int()> &tool);

// None when the file cannot be read, which has been reported; `failure` then says why.
std::optional<std::vector<std::byte>> read_file(const std::string &path, std::string *failure = nullptr);

// A file that stands complete at its path once it has been committed, and is what it was before until then.
// It is written under another name beside it, which goes when anything fails.
//
// Only a plain file is replaced, and no geometry file: not even one given by mistake is lost. No folder is
// made. What fails has been reported.
class output_file_t {
  public:
    static std::unique_ptr<output_file_t> create(const std::string &path);
    ~output_file_t();
    output_file_t(const output_file_t &) = delete;
    output_file_t &operator=(const output_file_t &) = delete;

    void write(std::span<const std::byte> bytes);
    // False when this or any write failed.
    bool commit();

  private:
    output_file_t(std::string path, std::string temporary, std::FILE *file)
        : path_(std::move(path)), temporary_(std::move(temporary)), file_(file) {}

    std::string path_, temporary_;
    std::FILE *file_; // owned; null once it has been closed
    int error_ = 0;
    bool committed_ = false;
};

} // namespace kestrel
