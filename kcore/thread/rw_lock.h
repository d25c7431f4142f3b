#pragma once

// A lock that readers share and a writer has alone: std::shared_lock to read, std::unique_lock to write.

#include <mutex>
#include <shared_mutex>

namespace kestrel::thread {

using rw_lock_t = std::shared_mutex;

} // namespace kestrel::thread
