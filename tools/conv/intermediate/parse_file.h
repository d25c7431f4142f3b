#pragma once

// Reads and parses one intermediate text file.
//
// Contract: the file is read whole. Every object that the parse creates belongs to the owner list, also when
// it fails; what was wrong has then been reported with file and line.

#include "kcore/ufs/file.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"

namespace kestrel {

// None when the file cannot be read or is not a valid text model (.kim) or skeleton (.kis).
kim_t *parse_model_file(file_t &file, owner_list_t &owners);
kis_t *parse_skeleton_file(file_t &file, owner_list_t &owners);

// The same over text in memory, which `text_padding` zero bytes must follow (scanner.h).
kim_t *parse_model_text(std::string_view text, const char *file_name, owner_list_t &owners);
kis_t *parse_skeleton_text(std::string_view text, const char *file_name, owner_list_t &owners);

} // namespace kestrel
