#pragma once

// The stretch of a text file that is in memory while the file is scanned, followed by zero bytes.
//
// The file is read once, from its start to the size that it had at first, in blocking transfers of about a
// window each. What has been scanned makes room for what follows; a token that the window cannot hold lets it
// grow. Beyond that no more of a file is ever in memory. Throws std::bad_alloc.

#include "kcore/ufs/file.h"

#include <cstdlib>
#include <string_view>

namespace kestrel {

uint64_t count_line_feeds(std::string_view text);

class text_window_t {
  public:
    static constexpr size_t usual_size = size_t{256} << 10;
    // The shortest token that asks for more of the file fits.
    static constexpr size_t least_size = 64;
    // Lets the scanner look ahead by words without asking where the window ends.
    static constexpr size_t padding = 64;

    // `size` of at least `least_size` bytes; a shorter file takes its own size. The file outlives this.
    text_window_t(file_t &file, size_t size);

    const char *begin() const { return bytes_.get(); }
    const char *end() const { return end_; }
    uint64_t offset_of(const char *place) const { return offset_ + static_cast<uint64_t>(place - begin()); }
    size_t bytes_from(const char *place) const { return static_cast<size_t>(end_ - place); }
    bool is_less_than_half(const char *place) const { return bytes_from(place) < size_ / 2; }
    uint64_t file_size() const { return file_size_; }
    // Whether the window reaches to the end of the file.
    bool is_last() const { return offset_of(end_) == file_size_; }
    // Whether a transfer failed, which has been reported; the window is empty and the last one then.
    bool failed() const { return failed_; }

    // Drops what comes before `first` and reads on behind the rest, which moves to begin(). Grows when there
    // is nothing to drop. Not for the last window.
    void move_to(const char *first);
    // Nothing more is read.
    void make_last() { file_size_ = offset_of(end_); }

    // Between two offsets of the file, the second of which lies in the window; what comes before the window
    // is read again. What cannot be read again counts as none.
    uint64_t line_feeds_between(uint64_t from, uint64_t to) const;

  private:
    struct free_t {
        void operator()(char *bytes) const { std::free(bytes); }
    };

    void resize(size_t size);
    void read_on();

    file_t &file_;
    uint64_t file_size_;
    std::unique_ptr<char, free_t> bytes_;
    size_t size_ = 0;
    uint64_t offset_ = 0; // of begin() in the file
    const char *end_ = nullptr;
    bool failed_ = false;
};

// Text in memory as a file, which only reads. Keeps views of both arguments' bytes.
class text_file_t final : public file_t {
  public:
    text_file_t(std::string_view text, std::string_view name) : file_t(name), text_(text) {}

    bool stat(fs_stat_t &out) const override;
    bool get_system_path(mstring_t &) const override { return false; }
    bool get_mount_path(mstring_t &) const override { return false; }
    bool get_display_name(mstring_t &text) const override { return text.assign(name().view()); }

  protected:
    bool do_read(std::span<std::byte> buffer, uint64_t position) override;
    bool do_write(std::span<const std::byte>, uint64_t) override { return false; }

  private:
    std::string_view text_;
};

} // namespace kestrel
