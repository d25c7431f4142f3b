#include "tools/conv/kim2kmg/writer/string_bag.h"

namespace kestrel {

bool string_bag_t::add(std::string_view text) {
    if (offsets_.find(text))
        return true;
    if (!texts_.push_back(text) || !offsets_.insert(text, static_cast<uint32_t>(length_)))
        return false;
    length_ += text.size() + 1;
    return true;
}

std::optional<uint32_t> string_bag_t::offset_of(std::string_view text) const {
    const uint32_t *offset = offsets_.find(text);
    return offset ? std::optional(*offset) : std::nullopt;
}

} // namespace kestrel
