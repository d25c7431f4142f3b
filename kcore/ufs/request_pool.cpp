#include "kcore/ufs/request_pool.h"

#include <new>

namespace kestrel {

fs_request_t *fs_request_pool_t::take() {
    const std::scoped_lock guard(mutex_);
    if (fs_request_t *request = free_) {
        free_ = request->next;
        request->next = nullptr;
        return request;
    }
    std::unique_ptr<fs_request_t> made(new (std::nothrow) fs_request_t);
    fs_request_t *const request = made.get();
    return made && records_.push_back(std::move(made)) ? request : nullptr;
}

void fs_request_pool_t::give_back(fs_request_t &request) {
    const std::scoped_lock guard(mutex_);
    request.state.store(fs_request_state_t::queued, std::memory_order_relaxed);
    request.event.store(false, std::memory_order_relaxed);
    request.success = false;
    request.next = free_;
    free_ = &request;
}

} // namespace kestrel
