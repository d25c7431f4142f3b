#pragma once

// The checks, by what they look at. Called by lint_file.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/kmg/kmg_text.h"
#include "tools/lint/source_map.h"
#include "tools/lint/source_text.h"

namespace kestrel {

// What a check needs to know of one file.
struct lint_context_t {
    const source_map_t &map;
    source_text_t &text;
    lint_findings_t &findings;
    bool tangent = false; // will it be converted with -tangent?
};

// How many of a list are affected, and the first of them.
struct tally_t {
    uint32_t count = 0;
    uint32_t first = 0;

    void add(uint32_t number) {
        if (count++ == 0)
            first = number;
    }
};

// What begins no token, and what the grammar refuses.
void check_text(lint_context_t &context);
// Counts, materials, parts and locators.
void check_paragraphs(const kim_t &model, lint_context_t &context);
void check_pieces(const kim_t &model, lint_context_t &context);
// The bones of a skinned model; no skeleton when it cannot be read.
void check_skin(const kim_t &model, const kis_t *skeleton, lint_context_t &context);
void check_skeleton(const kis_t &skeleton, lint_context_t &context);

// A name that is empty, or that another of its kind has.
class name_check_t {
  public:
    // `what` is as in "part 3".
    void add(std::string_view name, const std::string &what, text_place_t place, lint_findings_t &findings);

  private:
    std::map<std::string, std::string> seen_;
};
bool is_token_name(std::string_view name);

} // namespace kestrel
