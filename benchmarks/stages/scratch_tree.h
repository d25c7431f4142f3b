#pragma once

// A started file system and an empty folder of its own for as long as it lives.

#include "kcore/ufs/file_system.h"

#include <filesystem>
#include <fstream>

namespace kestrel {

class scratch_tree_t {
  public:
    scratch_tree_t() {
        std::string path = std::filesystem::temp_directory_path() / "kim2kmg_bench_XXXXXX";
        base_ = ::mkdtemp(path.data());
        file_system_start();
    }
    ~scratch_tree_t() {
        file_system_stop();
        std::filesystem::remove_all(base_);
    }
    scratch_tree_t(const scratch_tree_t &) = delete;
    scratch_tree_t &operator=(const scratch_tree_t &) = delete;

    const std::filesystem::path &base() const { return base_; }
    void add(const std::filesystem::path &path, std::string_view content) const {
        std::filesystem::create_directories((base_ / path).parent_path());
        std::ofstream(base_ / path, std::ios::binary) << content;
    }

  private:
    std::filesystem::path base_;
};

} // namespace kestrel
