#include "tools/lint/source_text.h"

#include <algorithm>

namespace kestrel {

source_text_t::source_text_t(file_t &file)
    : file_(file), size_(file.get_size()), block_(std::make_unique<char[]>(block_size)) {}

bool source_text_t::load(uint64_t offset) {
    block_start_ = offset;
    block_length_ = offset < size_ ? static_cast<size_t>(std::min<uint64_t>(block_size, size_ - offset)) : 0;
    if (block_length_ != 0 &&
        !file_.read_at(std::as_writable_bytes(std::span(block_.get(), block_length_)), offset))
        block_length_ = 0;
    return block_length_ != 0;
}

std::string source_text_t::bytes(uint64_t offset, size_t length) {
    std::string text;
    for (int byte; text.size() < length && (byte = at(offset + text.size())) >= 0;)
        text += static_cast<char>(byte);
    return text;
}

uint64_t source_text_t::skip_to_token(uint64_t offset) {
    for (int byte; (byte = at(offset)) >= 0; ++offset) {
        if (byte == '#')
            while (at(offset) >= 0 && at(offset) != '\n')
                ++offset;
        else if (byte != ' ' && byte != '\t' && byte != '\r' && byte != '\n')
            break;
    }
    return offset;
}

// Behind the string that begins there.
uint64_t source_text_t::skip_string(uint64_t offset) {
    while (at(++offset) >= 0)
        if (at(offset) == '"')
            return offset + 1;
    return offset;
}

// Behind the item that begins there: its number and the parentheses that follow.
uint64_t source_text_t::skip_item(uint64_t offset) {
    uint32_t depth = 0;
    for (int byte; (byte = at(offset)) >= 0;) {
        if (byte == '#' || byte == '"') {
            offset = byte == '"' ? skip_string(offset) : skip_to_token(offset);
            continue;
        }
        ++offset;
        depth += byte == '(';
        if (byte == ')' && (depth == 0 || --depth == 0))
            break;
        if (byte == '}')
            return size_;
    }
    return offset;
}

uint64_t source_text_t::count_items(uint64_t first) {
    uint64_t count = 0;
    for (uint64_t offset = skip_to_token(first);
         offset < size_ && at(offset) != '}' && (offset = skip_item(offset)) < size_;
         offset = skip_to_token(offset))
        ++count;
    return count;
}

void source_text_t::locate(std::span<lint_finding_t> findings) {
    std::vector<lint_finding_t *> order;
    for (lint_finding_t &finding : findings)
        order.push_back(&finding);
    const auto by_place = [](const lint_finding_t *a, const lint_finding_t *b) {
        return a->place < b->place;
    };
    std::sort(order.begin(), order.end(), by_place);
    // Items become offsets, those of one list in one go.
    text_place_t reached;
    uint64_t offset = 0;
    for (lint_finding_t *const finding : order) {
        text_place_t &place = finding->place;
        if (place.item == 0)
            continue;
        if (place.offset != reached.offset || reached.item == 0) {
            reached = {place.offset, 0};
            offset = skip_to_token(place.offset);
        }
        for (; reached.item < place.item; ++reached.item)
            offset = skip_to_token(skip_item(offset));
        place = {offset, 0};
    }
    std::sort(order.begin(), order.end(), by_place);
    text_position_t position;
    offset = 0;
    for (lint_finding_t *const finding : order) {
        for (; offset < finding->place.offset; ++offset) {
            const int byte = at(offset);
            if (byte == '\n' || (byte == '\r' && at(offset + 1) != '\n'))
                position = {position.line + 1, 1};
            else
                position.column += (byte & 0xC0) != 0x80;
        }
        finding->position = position;
    }
}

} // namespace kestrel
