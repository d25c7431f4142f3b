#include "tools/kmg/vertex_cache_statistics.h"

#include <algorithm>

namespace kestrel {

bool vertex_cache_t::use(uint32_t vertex) {
    const auto found = std::find(entries_.begin(), entries_.end(), uint64_t{vertex});
    const bool missed = found == entries_.end();
    if (kind_ == vertex_cache_kind_t::lru) {
        const auto freed = missed ? entries_.end() - 1 : found;
        *freed = vertex;
        std::rotate(entries_.begin(), freed, freed + 1);
    } else if (missed) {
        entries_[oldest_] = vertex;
        oldest_ = (oldest_ + 1) % entries_.size();
    }
    return missed;
}

} // namespace kestrel
