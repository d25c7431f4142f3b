#include "tools/conv/intermediate/file_text.h"

#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/scanner.h"

#include <cstring>
#include <limits>

namespace kestrel {

bool file_text_t::read(file_t &file) {
    const uint64_t size = file.get_size();
    const bool countable = size < std::numeric_limits<size_t>::max() - scanner_t::text_padding;
    if (countable)
        block_ = large_block_t::allocate(size + scanner_t::text_padding);
    if (!block_ || !file.read({block_.data(), size})) {
        msg_error("error reading from file %s", display_name_of(&file).c_str());
        return false;
    }
    std::memset(block_.data() + size, 0, scanner_t::text_padding);
    length_ = size;
    return true;
}

} // namespace kestrel
