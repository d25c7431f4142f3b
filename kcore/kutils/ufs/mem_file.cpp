#include "kcore/kutils/ufs/mem_file.h"

#include "kcore/messages/messages.h"
#include "kcore/ufs/io_pump.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kestrel {

void make_mem_file(std::unique_ptr<file_t> &slot) {
    slot = std::make_unique<mem_file_t>();
}

bool mem_file_t::stat(fs_stat_t &out) const {
    out = {.kind = fs_kind_t::file, .size = size_, .stored_size = size_};
    return true;
}

bool mem_file_t::get_mount_path(mstring_t &path) const {
    return path_kind() == fs_path_kind_t::ufs && path.assign(name());
}

bool mem_file_t::get_display_name(mstring_t &text) const {
    return text.assign_formatted("<MEMFILE><%s>%s", path_kind_word(path_kind()), name().c_str());
}

// A new page that is going to be overwritten whole needs no zeros.
mem_file_t::page_t &mem_file_t::get_page_for_writing(size_t index, bool overwritten) {
    if (index >= pages_.size()) {
        try {
            pages_.resize(index + 1);
        } catch (const std::bad_alloc &) {
            report_fatal({"kcore/kutils/ufs/mem_file", __LINE__, "kestrel::mem_file_t::get_page"},
                         "[memfs] unable to resize page directory!");
        }
    }
    page_t *&entry = pages_.items()[index];
    if (!entry) {
        entry = take_page();
        if (!overwritten)
            entry->fill(std::byte{0});
    }
    return *entry;
}

// Its bytes are unset.
mem_file_t::page_t *mem_file_t::take_page() {
    constexpr size_t first_block = 4, largest_block = 64; // pages
    if (!free_pages_.empty()) {
        page_t *const page = free_pages_.back();
        free_pages_.pop_back();
        return page;
    }
    if (pages_left_ == 0) {
        const size_t pages = blocks_.empty() ? first_block : std::min(2 * pages_a_block_, largest_block);
        blocks_.push_back(std::make_unique_for_overwrite<page_t[]>(pages));
        pages_left_ = pages_a_block_ = pages;
    }
    return &blocks_.back()[pages_a_block_ - pages_left_--];
}

bool mem_file_t::do_read(std::span<std::byte> buffer, uint64_t position) {
    if (position > size_ || buffer.size() > size_ - position)
        return false;
    while (!buffer.empty()) {
        const size_t index = position / page_size;
        const size_t offset = position % page_size;
        const size_t piece = std::min(page_size - offset, buffer.size());
        if (const page_t *const page = index < pages_.size() ? pages_.items()[index] : nullptr)
            std::memcpy(buffer.data(), page->data() + offset, piece);
        else
            std::memset(buffer.data(), 0, piece);
        buffer = buffer.subspan(piece);
        position += piece;
    }
    return true;
}

bool mem_file_t::do_write(std::span<const std::byte> bytes, uint64_t position) {
    if (read_only_ || bytes.size() > std::numeric_limits<uint64_t>::max() - position)
        return false;
    while (!bytes.empty()) {
        const size_t offset = position % page_size;
        const size_t piece = std::min(page_size - offset, bytes.size());
        page_t &page = get_page_for_writing(position / page_size, piece == page_size);
        std::memcpy(page.data() + offset, bytes.data(), piece);
        bytes = bytes.subspan(piece);
        position += piece;
        size_ = std::max(size_, position);
    }
    return true;
}

fs_request_t mem_file_t::do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) {
    const bool done = transfer.reads ? transfer.into.empty() || do_read(transfer.into, transfer.position)
                                     : do_write(transfer.from, transfer.position);
    if (!done)
        return {};
    callback.call(true);
    return fs_request_t(true);
}

void mem_file_t::resize_directory(size_t count) {
    pages_.reserve(count);
    if (count < pages_.size())
        free_pages_.reserve(free_pages_.size() + pages_.size() - count);
    for (; pages_.size() > count; pages_.pop_back())
        if (pages_.back())
            free_pages_.push_back(pages_.back());
    pages_.resize(count);
}

bool mem_file_t::do_set_size(uint64_t size) {
    if (fixed_size_) {
        if (size > page_size)
            return false;
    } else {
        try {
            resize_directory(size / page_size + 1);
        } catch (const std::bad_alloc &) {
            return false;
        }
    }
    if (size < size_ && size / page_size < pages_.size())
        if (page_t *const last = pages_.items()[size / page_size])
            std::fill(last->begin() + static_cast<ptrdiff_t>(size % page_size), last->end(), std::byte{0});
    size_ = size;
    return true;
}

size_t mem_file_t::page_count() const {
    return static_cast<size_t>(
        std::count_if(pages_.begin(), pages_.end(), [](const page_t *page) { return page != nullptr; }));
}

} // namespace kestrel
