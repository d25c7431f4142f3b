#pragma once

// Reads and parses one text file: the way into this folder.
//
// Contract: the file is read through the scanner's window. Every object that the parse creates belongs to the
// owner list, also when it fails; what was wrong has then been reported with file and line, or that the file
// cannot be read, which may come after messages of the text before that place.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/intermediate/scanner.h"

namespace kestrel {

// None when the text is not a valid model (.kim) or skeleton (.kis), or cannot be read.
kim_t *parse_model(scanner_t &scanner, owner_list_t &owners);
kis_t *parse_skeleton(scanner_t &scanner, owner_list_t &owners);

inline kim_t *parse_model_file(file_t &file, owner_list_t &owners) {
    scanner_t scanner(file);
    return parse_model(scanner, owners);
}
inline kis_t *parse_skeleton_file(file_t &file, owner_list_t &owners) {
    scanner_t scanner(file);
    return parse_skeleton(scanner, owners);
}

// The same over text in memory; messages call it by the name given.
inline kim_t *parse_model_text(std::string_view text, std::string_view name, owner_list_t &owners) {
    text_file_t file(text, name);
    return parse_model_file(file, owners);
}
inline kis_t *parse_skeleton_text(std::string_view text, std::string_view name, owner_list_t &owners) {
    text_file_t file(text, name);
    return parse_skeleton_file(file, owners);
}

} // namespace kestrel
