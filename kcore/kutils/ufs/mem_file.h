#pragma once

// A file in memory: writes at any position in any order, zeros where nothing was written.
//
// The bytes lie in pages of 1024; a write never moves bytes already written and gaps cost no memory. Requests
// are done when they return. A write that no page can be had for throws std::bad_alloc and has written what
// comes before that page; a page directory that cannot grow is fatal.

#include "kcore/collections/array.h"
#include "kcore/ufs/file.h"

#include <array>
#include <memory>

namespace kestrel {

class mem_file_t final : public file_t {
  public:
    static constexpr size_t page_size = 1024;

    mem_file_t() : file_t("<mem-file>") {}

    bool stat(fs_stat_t &out) const override;
    bool uses_read_cache() const override { return false; }
    bool get_system_path(mstring_t &path) const override { return path.assign(name()); }
    bool get_mount_path(mstring_t &path) const override;
    bool get_display_name(mstring_t &name) const override;

    // From now on writes fail.
    void make_read_only() { read_only_ = true; }
    // From now on set_size keeps to the first page.
    void make_fixed_size() { fixed_size_ = true; }
    // Pages that hold written bytes.
    size_t page_count() const;

  protected:
    bool do_read(std::span<std::byte> buffer, uint64_t position) override;
    bool do_write(std::span<const std::byte> bytes, uint64_t position) override;
    fs_request_t do_request(const fs_transfer_t &transfer, const fs_callback_t &callback) override;
    bool do_set_size(uint64_t size) override;

  private:
    using page_t = std::array<std::byte, page_size>;

    page_t &get_page_for_writing(size_t index, bool overwritten);
    page_t *take_page();
    void resize_directory(size_t count);

    bool read_only_ = false;
    bool fixed_size_ = false;
    uint64_t size_ = 0;
    array_dyn_t<page_t *> pages_; // null where nothing was written
    // Where pages are taken from: blocks, each twice as large as the one before up to a limit.
    array_dyn_t<std::unique_ptr<page_t[]>> blocks_;
    size_t pages_a_block_ = 0;         // in the last one
    size_t pages_left_ = 0;            // likewise
    array_dyn_t<page_t *> free_pages_; // that were given back
};

// An empty memory file in the slot, in place of what it held.
void make_mem_file(std::unique_ptr<file_t> &slot);

} // namespace kestrel
