#pragma once

// A geometry file, its findings and its differences laid out for people, and its pieces as CSV.

#include "tools/kmg/kmg_check.h"
#include "tools/kmg/kmg_diff.h"
#include "tools/kmg/kmg_text.h"

namespace kestrel {

// The first line has the verdict of the check. All is that and vertex cache figures, sections and headings of
// what there is none of.
void print_file(std::string_view name, const kmg_reader_t &file, const finding_counts_t &found,
                print_style_t style, const text_sink_t &sink);
// One line each, "FILE: severity: place: text [code]", and a last line that counts them.
void print_findings(std::string_view name, std::span<const kmg_finding_t> findings, print_style_t style,
                    const text_sink_t &sink);

// The data of one piece as CSV, one line per vertex or triangle below a line of headings. Reals are written
// with the fewest digits that give the same single precision back; a heading "colour_r/128" stands over
// numbers of which 128 is 1.
void vertices_csv(const kmg_reader_t &file, const kmg_piece_t &piece, const text_sink_t &sink);
void indices_csv(const kmg_reader_t &file, const kmg_piece_t &piece, const text_sink_t &sink);

} // namespace kestrel
