#include "tools/lint/source_text.h"

#include <algorithm>

namespace kestrel {

static uint64_t count_characters(std::string_view utf8) {
    return static_cast<uint64_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char byte) { return (byte & 0xC0) != 0x80; }));
}

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

// Moves the position over at most so many bytes from the offset on; gives how many. Lines without carriage
// returns are counted by the block. Without that, a model with a finding at its end takes 1.3 times as long.
size_t source_text_t::count(uint64_t most, uint64_t offset, text_position_t &position) {
    const std::string_view block(block_.get() + (offset - block_start_),
                                 block_length_ - (offset - block_start_));
    std::string_view text = block.substr(0, static_cast<size_t>(std::min<uint64_t>(most, block.size())));
    const size_t carriage_return = text.find('\r');
    if (carriage_return == 0) {
        const bool alone = at(offset + 1) != '\n';
        position = alone ? text_position_t{position.line + 1, 1}
                         : text_position_t{position.line, position.column + 1};
        return 1;
    }
    text = text.substr(0, carriage_return);
    if (const size_t last = text.rfind('\n'); last != text.npos) {
        const auto lines = std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(last) + 1, '\n');
        position = {position.line + static_cast<uint64_t>(lines), 1};
        position.column += count_characters(text.substr(last + 1));
    } else
        position.column += count_characters(text);
    return text.size();
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
        while (offset < finding->place.offset && at(offset) >= 0)
            offset += count(finding->place.offset - offset, offset, position);
        finding->position = position;
    }
}

} // namespace kestrel
