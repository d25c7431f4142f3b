#pragma once

// A directory of its own on the real disk, that goes with everything in it when the test ends.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace kestrel {

class temporary_directory_t {
  public:
    temporary_directory_t() {
        std::string pattern = (std::filesystem::temp_directory_path() / "kcore-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~temporary_directory_t() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    temporary_directory_t(const temporary_directory_t &) = delete;
    temporary_directory_t &operator=(const temporary_directory_t &) = delete;

    std::string operator/(const std::string &name) const { return (path_ / name).string(); }

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
