// Any bytes as a geometry file. The checker finds an error, or everything else can make use of the file. What
// is held at any time is at most ten times the file.

#include "fuzz/check.h"
#include "fuzz/target.h"
#include "tools/gltf/gltf_export.h"
#include "tools/kmg/kmg_json.h"
#include "tools/kmg/kmg_print.h"

#include <algorithm>
#ifdef __SANITIZE_ADDRESS__
#define KIM2KMG_COUNTS_MEMORY
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KIM2KMG_COUNTS_MEMORY
#endif
#endif
#ifdef KIM2KMG_COUNTS_MEMORY
#include <sanitizer/allocator_interface.h>
#endif

namespace kestrel {

// Largest amount of memory held since the start, as the address sanitizer counts it; elsewhere there is no
// limit.
class memory_limit_t {
  public:
    explicit memory_limit_t(size_t limit) : limit_(limit) {
#ifdef KIM2KMG_COUNTS_MEMORY
        static const int installed = __sanitizer_install_malloc_and_free_hooks(
            [](const volatile void *, size_t) { check(); }, [](const volatile void *) {});
        (void)installed;
        before_ = __sanitizer_get_current_allocated_bytes();
        present_ = this;
#endif
    }
    ~memory_limit_t() {
        present_ = nullptr;
    }
    memory_limit_t(const memory_limit_t &) = delete;
    memory_limit_t &operator=(const memory_limit_t &) = delete;

  private:
#ifdef KIM2KMG_COUNTS_MEMORY
    static void check() {
        if (present_ && __sanitizer_get_current_allocated_bytes() > present_->before_ + present_->limit_) {
            present_ = nullptr;
            promise(false, "at most ten times the file is held");
        }
    }
    size_t before_ = 0;
#endif
    static inline memory_limit_t *present_ = nullptr;
    [[maybe_unused]] size_t limit_;
};

static void show_in_every_way(const kmg_reader_t &file, const finding_counts_t &found) {
    size_t lines = 0;
    const text_sink_t sink = [&](std::string_view text) {
        lines += static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
    };
    const auto lines_of = [&](auto &&write) {
        lines = 0;
        write();
        return lines;
    };
    promise(lines_of([&] { print_file("a.kmg", file, found, {.colour = true, .all = true}, sink); }) > 1,
            "a file is printed");
    diff_kmg(file, file, 0, [](auto &) { promise(false, "a file does not differ from itself"); });
    kmg_json_t json(sink);
    json.add_file("a.kmg", file);
    json.end();
    for (const kmg_piece_t piece : file.pieces()) {
        promise(lines_of([&] { vertices_csv(file, piece, sink); }) == 1 + piece.vertex_count,
                "every vertex is dumped");
        promise(lines_of([&] { indices_csv(file, piece, sink); }) == 1 + piece.index_count / 3,
                "every triangle is dumped");
    }
}

void fuzz_geometry_file(fuzz_input_t input) {
    // What findings and buffers take, however small the file.
    constexpr size_t constant = 1 << 20;
    const memory_limit_t limit(10 * input.size() + constant);
    const auto bytes = std::as_bytes(input);
    const auto findings = check_kmg(bytes);
    print_findings("a.kmg", findings, {}, [](std::string_view) {});
    const auto file = kmg_reader_t::open(bytes);
    promise(file || has_error(findings), "what the reader refuses is an error");
    if (file)
        show_in_every_way(*file, count_findings(findings));
    if (has_error(findings))
        return;
    size_t announced = 0, written = 0;
    gltf_changes_t changes;
    const bool exported =
        export_glb(*file, "a", {.axes = true}, changes, [&](std::span<const std::byte> part) {
            if (written == 0) {
                uint32_t total;
                little_endian::get(part.data() + 8, total);
                announced = total;
            }
            written += part.size();
        });
    promise(exported && written == announced, "a file without errors becomes glTF of the length it tells");
}

} // namespace kestrel
