// Any bytes as a dependency file. What is read, written again and read again gives the same record.

#include "fuzz/check.h"
#include "fuzz/target.h"
#include "kcore/dependencies/dependency_file.h"

#include <algorithm>
#include <string>

namespace kestrel {

static std::string text_of(const dependency_record_t &record) {
    std::string text = std::string("version:") + record.version().c_str() + "\r\n";
    for (const string_dyn_t &source : record.sources())
        text += std::string(source.c_str()) + "\r\n";
    return text;
}

static bool equal(const dependency_record_t &a, const dependency_record_t &b) {
    return a.version().view() == b.version().view() &&
           std::equal(a.sources().begin(), a.sources().end(), b.sources().begin(), b.sources().end(),
                      [](const string_dyn_t &x, const string_dyn_t &y) { return x.view() == y.view(); });
}

void fuzz_dependency_text(fuzz_input_t input) {
    message_counter_t messages;
    const std::string_view text(reinterpret_cast<const char *>(input.data()), input.size());
    dependency_record_t record;
    if (!parse_dependency_text(text, record, "/m.kmg")) {
        promise(messages.errors() != 0, "a refused dependency file is reported");
        promise(record.version().empty() && record.sources().empty(), "a refused file changes nothing");
        return;
    }
    promise(messages.errors() == 0, "what is accepted is not complained about");
    promise(!record.version().empty() && record.version().length() <= 15, "the version is there and short");
    promise(!record.sources().empty(), "the sources are there");
    for (const string_dyn_t &source : record.sources())
        if (source.empty())
            return; // a word that begins with a NUL; no record of the converter's has one
    dependency_record_t again;
    promise(parse_dependency_text(text_of(record), again, "/m.kmg"), "a record can be read back");
    promise(equal(record, again), "reading back gives the same record");
}

} // namespace kestrel
