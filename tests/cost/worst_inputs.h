#pragma once

// The inputs that cost most for their size, one kind for every way of asking for much with few bytes.

#include <ostream>
#include <span>
#include <string>

namespace kestrel {

struct worst_input_t {
    std::string model;
    std::string skeleton;
};

struct worst_kind_t {
    const char *name;
    // An input of about so many bytes.
    worst_input_t (*make)(size_t bytes);
    // The most bytes held at once for each byte of the files, beside the window that they are read through.
    double memory_factor;
    // Does it end in a geometry file? Those that do not are refused, some of them only by the writer.
    bool converts;

    friend void PrintTo(const worst_kind_t &kind, std::ostream *out) { *out << kind.name; }
};

std::span<const worst_kind_t> worst_kinds();

} // namespace kestrel
