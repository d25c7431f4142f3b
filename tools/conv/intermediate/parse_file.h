#pragma once

// Reads and parses one text file: the way into this folder.
//
// Contract: the file is read whole. Every object that the parse creates belongs to the owner list, also when
// it fails; what was wrong has then been reported with file and line.

#include "kcore/ufs/file.h"
#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/intermediate/parse_observer.h"

#include <cstdlib>

namespace kestrel {

// None when the file cannot be read or is not a valid text model (.kim) or skeleton (.kis).
// An observer, when there is one, hears what is wrong instead of the messages.
kim_t *parse_model_file(file_t &file, owner_list_t &owners, parse_observer_t *observer = nullptr);
kis_t *parse_skeleton_file(file_t &file, owner_list_t &owners, parse_observer_t *observer = nullptr);

// The same over text in memory, which `text_padding` zero bytes must follow (scanner.h).
kim_t *parse_model_text(std::string_view text, const char *file_name, owner_list_t &owners,
                        parse_observer_t *observer = nullptr);
kis_t *parse_skeleton_text(std::string_view text, const char *file_name, owner_list_t &owners,
                           parse_observer_t *observer = nullptr);

// The bytes of one text file in memory, followed by the zero bytes that the scanner wants.
class file_text_t {
  public:
    // Reads the whole file; false after a message when that fails.
    bool read(file_t &file);

    std::string_view view() const { return {bytes_.get(), length_}; }

  private:
    struct free_t {
        void operator()(char *bytes) const { std::free(bytes); }
    };

    std::unique_ptr<char, free_t> bytes_;
    size_t length_ = 0;
};

} // namespace kestrel
