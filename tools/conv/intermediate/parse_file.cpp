#include "tools/conv/intermediate/parse_file.h"

#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/scanner.h"

#include <cstring>
#include <limits>

namespace kestrel {

bool file_text_t::read(file_t &file) {
    const uint64_t size = file.get_size();
    const bool countable = size < std::numeric_limits<size_t>::max() - scanner_t::text_padding;
    bytes_.reset(countable ? static_cast<char *>(std::malloc(size + scanner_t::text_padding)) : nullptr);
    if (!bytes_ || !file.read(std::as_writable_bytes(std::span(bytes_.get(), size)))) {
        msg_error("error reading from file %s", display_name_of(&file).c_str());
        return false;
    }
    std::memset(bytes_.get() + size, 0, scanner_t::text_padding);
    length_ = size;
    return true;
}

kim_t *parse_model_file(file_t &file, owner_list_t &owners, parse_observer_t *observer) {
    file_text_t text;
    return text.read(file) ? parse_model_text(text.view(), display_name_of(&file).c_str(), owners, observer)
                           : nullptr;
}

kis_t *parse_skeleton_file(file_t &file, owner_list_t &owners, parse_observer_t *observer) {
    file_text_t text;
    return text.read(file)
               ? parse_skeleton_text(text.view(), display_name_of(&file).c_str(), owners, observer)
               : nullptr;
}

} // namespace kestrel
