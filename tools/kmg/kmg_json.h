#pragma once

// Geometry files, findings and differences as JSON; docs/inspect.md describes the form.
//
// Reals are written with the fewest digits that give the same single precision back, what is no finite number
// as null; 64-bit values as hexadecimal text, which no reader of JSON rounds. Bytes of a text that are not
// UTF-8 become U+FFFD. Keys keep their order; new ones may be added, none changes its meaning without a new
// version.

#include "tools/kmg/kmg_check.h"
#include "tools/kmg/kmg_diff.h"
#include "tools/kmg/kmg_text.h"

namespace kestrel {

inline constexpr int kmg_json_version = 1;

// One document, written file by file and within a file record by record, so that nothing is held.
class kmg_json_t {
  public:
    explicit kmg_json_t(const text_sink_t &sink);

    // Every field of every record.
    void add_file(std::string_view name, const kmg_reader_t &file);
    void add_findings(std::string_view name, std::span<const kmg_finding_t> findings);
    void begin_differences(std::string_view name_a, std::string_view name_b);
    void add_difference(const kmg_difference_t &difference);
    void end_differences();
    // A file that could not be read, or read as a geometry file.
    void add_failure(std::string_view name, std::string_view text);
    // Ends the document.
    void end();

  private:
    void begin_file();
    // The next element of the present list.
    void element(std::string_view text);
    void begin_list(std::string_view key);
    void end_list();

    const text_sink_t &sink_;
    bool first_file_ = true;
    bool first_element_ = true;
};

} // namespace kestrel
