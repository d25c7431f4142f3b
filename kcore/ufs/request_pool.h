#pragma once

// The records of transfers, used again and again. Records live as long as the pool, so that a late wake-up of
// one that has been released touches no freed memory. Safe from several threads.

#include "kcore/collections/array.h"
#include "kcore/ufs/request.h"

#include <memory>
#include <mutex>

namespace kestrel {

class fs_request_pool_t {
  public:
    // A fresh record in state queued; null when memory cannot be had.
    fs_request_t *take();
    void give_back(fs_request_t &request);

  private:
    std::mutex mutex_;
    fs_request_t *free_ = nullptr;
    array_dyn_t<std::unique_ptr<fs_request_t>> records_;
};

} // namespace kestrel
