#pragma once

// A directory of its own on the real disk, that goes with everything in it when the test ends.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace kestrel {

class temporary_directory_t {
  public:
    temporary_directory_t();
    ~temporary_directory_t();
    temporary_directory_t(const temporary_directory_t &) = delete;
    temporary_directory_t &operator=(const temporary_directory_t &) = delete;

    // With "/" between folders.
    const std::filesystem::path &path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_.string() + "/" + name; }

    void write(const std::string &name, const std::string &content) const {
        std::ofstream(path_ / name, std::ios::binary) << content;
    }
    std::string read(const std::string &name) const {
        std::ifstream stream(path_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    bool has(const std::string &name) const { return std::filesystem::exists(path_ / name); }

  private:
    std::filesystem::path path_;
};

} // namespace kestrel
