#include "tools/conv/intermediate/text_window.h"

#include "kcore/messages/messages.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <new>

namespace kestrel {

text_window_t::text_window_t(file_t &file, size_t size) : file_(file), file_size_(file.get_size()) {
    resize(std::min<uint64_t>(std::max(size, least_size), file_size_));
    read_on();
}

void text_window_t::resize(size_t size) {
    if (size > std::numeric_limits<size_t>::max() - padding)
        throw std::bad_alloc();
    const size_t length = bytes_ ? bytes_from(begin()) : 0;
    void *const resized = std::realloc(bytes_.get(), size + padding);
    if (!resized)
        throw std::bad_alloc();
    static_cast<void>(bytes_.release());
    bytes_.reset(static_cast<char *>(resized));
    end_ = begin() + length;
    size_ = size;
}

void text_window_t::move_to(const char *first) {
    const size_t rest = bytes_from(first);
    if (rest == size_) {
        const uint64_t ahead = file_size_ - offset_;
        resize(std::min<uint64_t>(ahead, uint64_t{size_} * 2));
    } else {
        offset_ = offset_of(first);
        std::memmove(bytes_.get(), first, rest);
        end_ = begin() + rest;
    }
    read_on();
}

// Fills the window from its end on.
void text_window_t::read_on() {
    char *const place = bytes_.get() + bytes_from(begin());
    const uint64_t position = offset_of(end_);
    const size_t length = std::min<uint64_t>(size_ - bytes_from(begin()), file_size_ - position);
    if (file_.read_at(std::as_writable_bytes(std::span(place, length)), position)) {
        end_ += length;
    } else {
        msg_error("error reading from file %s", display_name_of(&file_).c_str());
        failed_ = true;
        end_ = begin();
        make_last();
    }
    std::memset(bytes_.get() + bytes_from(begin()), 0, padding);
}

uint64_t count_line_feeds(std::string_view text) {
    return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

uint64_t text_window_t::line_feeds_between(uint64_t from, uint64_t to) const {
    uint64_t count = 0;
    std::array<char, 16384> block;
    while (from < offset_) {
        const std::span part(block.data(), std::min<uint64_t>(block.size(), offset_ - from));
        if (!file_.read_at(std::as_writable_bytes(part), from))
            break;
        count += count_line_feeds({part.data(), part.size()});
        from += part.size();
    }
    from = std::max(from, offset_);
    return count + count_line_feeds({begin() + (from - offset_), static_cast<size_t>(to - from)});
}

bool text_file_t::stat(fs_stat_t &out) const {
    out = {.kind = fs_kind_t::file, .size = text_.size(), .stored_size = text_.size()};
    return true;
}

bool text_file_t::do_read(std::span<std::byte> buffer, uint64_t position) {
    if (position > text_.size() || buffer.size() > text_.size() - position)
        return false;
    std::memcpy(buffer.data(), text_.data() + position, buffer.size());
    return true;
}

} // namespace kestrel
