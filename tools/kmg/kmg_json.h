#pragma once

// Geometry files, findings and differences as JSON; docs/inspect.md describes the form.
//
// Reals are written with the fewest digits that give the same single precision back, what is no finite number
// as null; 64-bit values as hexadecimal text, which no reader of JSON rounds. Bytes of a text that are not
// UTF-8 become U+FFFD. Keys keep their order; new ones may be added, none changes its meaning without a new
// version.

#include "tools/kmg/kmg_diff.h"
#include "tools/kmg/kmg_findings.h"

#include <memory>
#include <string>
#include <string_view>

namespace kestrel {

inline constexpr int kmg_json_version = 1;

// One document, assembled file by file.
class kmg_json_t {
  public:
    kmg_json_t();
    ~kmg_json_t();
    kmg_json_t(const kmg_json_t &) = delete;
    kmg_json_t &operator=(const kmg_json_t &) = delete;

    // Every field of every record.
    void add_file(std::string_view name, const kmg_reader_t &file);
    void add_findings(std::string_view name, std::span<const kmg_finding_t> findings);
    void add_differences(std::string_view name_a, std::string_view name_b,
                         std::span<const kmg_difference_t> differences);
    // A file that could not be read, or read as a geometry file.
    void add_failure(std::string_view name, std::string_view text);

    std::string text() const;

  private:
    struct document_t; // keeps the JSON library out of every other source
    std::unique_ptr<document_t> document_;
};

} // namespace kestrel
