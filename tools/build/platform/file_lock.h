#pragma once

// A lock on a file, by which processes on one machine or one network disk keep out of each other's way. It
// goes when its last holder ends, whatever ended it. Another system's implementation stands beside
// file_lock_posix.cpp.

#include <cstdint>
#include <string>
#include <system_error>

namespace kestrel {

enum class lock_kind_t { shared, exclusive };
enum class lock_result_t { taken, held_by_another, not_possible };

// Should this process be killed, nobody writes beside its children: they inherit the lock, which holds until
// they have ended, too, or they end with this process where the system can do that.
class file_lock_t {
  public:
    file_lock_t() = default;
    file_lock_t(const file_lock_t &) = delete;
    file_lock_t &operator=(const file_lock_t &) = delete;
    ~file_lock_t() { release(); }

    // Makes the file when it is missing. With not_possible, the error says why.
    lock_result_t try_take(const std::string &path, lock_kind_t kind, std::error_code &error);
    void release();
    bool is_held() const { return file_ >= 0; }

  private:
    intptr_t file_ = -1; // the system's
};

} // namespace kestrel
