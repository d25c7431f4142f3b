#pragma once

// What the record of an output says: the version of the conversion and the sources, the model first.
//
// Records are read by whole lines. (The reader of the core library ends a path at its first blank, as the
// format's readers do; models with a blank in their names would be out of date for ever.)

#include <optional>
#include <string>
#include <vector>

namespace kestrel {

struct record_t {
    std::string version;
    std::vector<std::string> sources; // paths in the tree
};

// None when the text is not that of a whole record.
std::optional<record_t> parse_record(std::string_view text);
std::optional<record_t> read_record(const std::string &path);

} // namespace kestrel
