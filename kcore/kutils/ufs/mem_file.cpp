#include "kcore/kutils/ufs/mem_file.h"

#include "kcore/messages/fatal.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace kestrel {

class mem_file_t::page_t {
  public:
    // A page that is going to be overwritten whole needs no zeros.
    explicit page_t(bool zeroed) {
        if (zeroed)
            bytes_.fill(std::byte{0});
    }
    virtual ~page_t() = default;

    virtual void read(std::span<std::byte> destination, size_t offset) const {
        std::memcpy(destination.data(), bytes_.data() + offset, destination.size());
    }
    virtual void write(std::span<const std::byte> source, size_t offset) {
        std::memcpy(bytes_.data() + offset, source.data(), source.size());
    }
    void clear_from(size_t offset) {
        std::fill(bytes_.begin() + static_cast<ptrdiff_t>(offset), bytes_.end(), std::byte{0});
    }

  private:
    std::array<std::byte, page_size> bytes_;
};

// Stands for every page that was never written.
class mem_file_t::zero_page_t final : public page_t {
  public:
    zero_page_t() : page_t(true) {}

    void write(std::span<const std::byte>, size_t) override {
        report_fatal({"kcore/kutils/ufs/mem_file", __LINE__, "kestrel::mem_file_t::zero_page_t::write"},
                     "writing to ZERO page is not supported!");
    }
};

// All transfers share this record, which is done. Never changed once it is made, so threads may share it.
static fs_request_t &completed_request() {
    struct completed_t : fs_request_t {
        completed_t() {
            success = true;
            state = fs_request_state_t::done;
            event = true;
        }
    };
    static completed_t request;
    return request;
}

static fs_request_t *complete_at_once(const fs_request_options_t &options) {
    if (options.callback)
        options.callback(completed_request(), options.context);
    return &completed_request();
}

mem_file_t::mem_file_t() : file_t("<mem-file>") {}
mem_file_t::~mem_file_t() = default;

void make_mem_file(std::unique_ptr<file_t> &slot) {
    slot = std::make_unique<mem_file_t>();
}

bool mem_file_t::stat(fs_stat_t &out) const {
    out = {.kind = fs_kind_t::file, .size = size_, .stored_size = size_};
    return true;
}

const mem_file_t::page_t &mem_file_t::get_page(size_t index) const {
    static const zero_page_t zero_page;
    const page_t *const page = index < pages_.size() ? pages_[index] : nullptr;
    return page ? *page : zero_page;
}

mem_file_t::page_t *mem_file_t::get_page_for_writing(size_t index, bool overwritten) {
    if (index >= pages_.size() && !resize_directory(index + 1))
        report_fatal({"kcore/kutils/ufs/mem_file", __LINE__, "kestrel::mem_file_t::get_page"},
                     "[memfs] unable to resize page directory!");
    page_t *&entry = pages_.items()[index];
    if (!entry)
        entry = page_pool_.create(!overwritten);
    return entry;
}

bool mem_file_t::resize_directory(size_t count) try {
    pages_.reserve(count);
    for (; pages_.size() > count; pages_.pop_back())
        if (pages_.back())
            page_pool_.destroy(pages_.back());
    return pages_.resize(count);
} catch (const std::bad_alloc &) {
    return false;
}

fs_request_t *mem_file_t::read_request(std::span<std::byte> buffer, uint64_t position,
                                       const fs_request_options_t &options) {
    if (buffer.empty() || !buffer.data())
        return complete_at_once(options);
    if (position > size_ || buffer.size() > size_ - position)
        return nullptr;
    while (!buffer.empty()) {
        const size_t offset = position % page_size;
        const size_t piece = std::min(page_size - offset, buffer.size());
        get_page(position / page_size).read(buffer.first(piece), offset);
        buffer = buffer.subspan(piece);
        position += piece;
    }
    return complete_at_once(options);
}

fs_request_t *mem_file_t::write_request(std::span<const std::byte> bytes, uint64_t position,
                                        const fs_request_options_t &options) {
    if (read_only_)
        return nullptr;
    if (bytes.empty() || !bytes.data())
        return complete_at_once(options);
    if (bytes.size() > std::numeric_limits<uint64_t>::max() - position)
        return nullptr;
    const uint64_t end = position + bytes.size();
    while (!bytes.empty()) {
        const size_t offset = position % page_size;
        const size_t piece = std::min(page_size - offset, bytes.size());
        page_t *const page = get_page_for_writing(position / page_size, piece == page_size);
        if (!page)
            return nullptr;
        page->write(bytes.first(piece), offset);
        bytes = bytes.subspan(piece);
        position += piece;
    }
    size_ = std::max(size_, end);
    return complete_at_once(options);
}

bool mem_file_t::set_size(uint64_t size) {
    if (fixed_size_ ? size > page_size : !resize_directory(size / page_size + 1))
        return false;
    if (size < size_ && size / page_size < pages_.size())
        if (page_t *const last = pages_[size / page_size])
            last->clear_from(size % page_size);
    size_ = size;
    return true;
}

size_t mem_file_t::page_count() const {
    return static_cast<size_t>(
        std::count_if(pages_.begin(), pages_.end(), [](const page_t *page) { return page != nullptr; }));
}

bool mem_file_t::get_system_path(mstring_t &path) const {
    return path.assign(name());
}

bool mem_file_t::get_mount_path(mstring_t &path) const {
    return path_kind() == fs_path_kind_t::ufs && path.assign(name());
}

static const char *path_kind_word(fs_path_kind_t kind) {
    switch (kind) {
    case fs_path_kind_t::unknown:
        return "UNKNOWNFS";
    case fs_path_kind_t::ufs:
        return "UFS";
    case fs_path_kind_t::sysfs:
        return "SYSFS";
    }
    return "BADFS";
}

bool mem_file_t::get_display_name(mstring_t &text) const {
    return text.assign_formatted("<MEMFILE><%s>%s", path_kind_word(path_kind()), name().c_str());
}

} // namespace kestrel
