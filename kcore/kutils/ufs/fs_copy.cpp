#include "kcore/kutils/ufs/fs_copy.h"

#include "kcore/messages/messages.h"

#include <algorithm>
#include <array>

namespace kestrel {

static bool copy_blocks(file_t &destination, file_t &source) {
    std::array<std::byte, 4096> storage;
    const uint64_t size = source.get_size();
    for (uint64_t position = 0; position < size;) {
        const std::span block(storage.data(), std::min<uint64_t>(size - position, storage.size()));
        if (!source.read_at(block, position))
            return msg_error("[fs_copy] error reading block: %s @ %I64u (chunk size %Iu)",
                             display_name_of(&source).c_str(), source.offset(), block.size());
        if (!destination.write_at(block, destination.offset()))
            return msg_error("[fs_copy] error writing block: %s @ %I64u (chunk size %Iu)",
                             display_name_of(&destination).c_str(), destination.offset(), block.size());
        destination.set_offset(destination.offset() + block.size());
        position += block.size();
    }
    return true;
}

bool fs_copy(file_t *destination, file_t *source) {
    if (!source)
        return msg_error("[fs_copy] incorrect source file!");
    if (!destination)
        return msg_error("[fs_copy] incorrect destination file!");
    source->set_offset(0);
    destination->set_offset(0);
    if (!copy_blocks(*destination, *source))
        return msg_error("[fs_copy] failed to copy files!");
    destination->set_offset(0);
    return true;
}

} // namespace kestrel
