#pragma once

// An asset tree of its own in a temporary folder, with the program in it, that goes when the test ends.

#include "tests/support/temporary_directory.h"

#include <filesystem>
#include <string>
#include <vector>

namespace kestrel {

struct program_run_t {
    int status; // exit status, or as the system tells an abnormal end
    std::string output;
    std::string errors;
};

class asset_tree_t {
  public:
    // BASE/bin/linux_x64/kim2kmg and BASE/project/.
    asset_tree_t();

    const std::filesystem::path &base() const { return base_; }
    std::filesystem::path program() const { return base_ / "bin/linux_x64/kim2kmg"; }
    std::filesystem::path source(const std::string &path) const { return base_ / "project" / path; }
    std::filesystem::path output(const std::string &path) const {
        return base_ / "rsrc/project/@cache" / path;
    }
    std::filesystem::path record(const std::string &path) const { return base_ / "rsrc/project/@dep" / path; }

    void add_source(const std::string &path, std::string_view content) const;
    // Everything below rsrc/, folders left out, in alphabetical order.
    std::vector<std::string> products() const;
    // Runs the program in BASE, as a user would.
    program_run_t run(const std::vector<std::string> &arguments) const;

  private:
    const temporary_directory_t directory_;
    const std::filesystem::path &base_ = directory_.path();
};

// Runs a program in a folder.
program_run_t run_program(const std::string &program, const std::vector<std::string> &arguments,
                          const std::filesystem::path &folder);

std::string read_whole_file(const std::filesystem::path &path);
void write_whole_file(const std::filesystem::path &path, std::string_view content);

} // namespace kestrel
