#include "tools/conv/kim2kmg/vertex_cache/remaining_triangles.h"

#include <algorithm>
#include <bit>
#include <functional>

namespace kestrel {

uint64_t remaining_triangles_t::key_of(uint32_t triangle, float score) {
    return uint64_t{~std::bit_cast<uint32_t>(score)} << 32 | triangle;
}

float remaining_triangles_t::score_in(uint64_t key) {
    return std::bit_cast<float>(~static_cast<uint32_t>(key >> 32));
}

void remaining_triangles_t::clear() {
    list_.clear();
    heap_.clear();
    next_ = 0;
    sorted_ = false;
}

void remaining_triangles_t::sort() {
    std::sort(list_.begin(), list_.end());
    sorted_ = true;
}

bool remaining_triangles_t::update(uint32_t triangle, float score) {
    if (!heap_.push_back(key_of(triangle, score)))
        return false;
    std::push_heap(heap_.begin(), heap_.end(), std::greater());
    return true;
}

bool remaining_triangles_t::take_lowest(uint64_t &key) {
    const bool list_has_more = next_ < list_.size();
    if (!heap_.empty() && (!list_has_more || heap_[0] < list_[next_])) {
        key = heap_[0];
        std::pop_heap(heap_.begin(), heap_.end(), std::greater());
        heap_.pop_back();
        return true;
    }
    if (list_has_more)
        key = list_[next_++];
    return list_has_more;
}

} // namespace kestrel
