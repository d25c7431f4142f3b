#pragma once

// The grammar of text skeletons (.kis): Header, Global with the bone count, and Bones. Parents are names and
// are not resolved here.

#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/intermediate/parser.h"

namespace kestrel {

class skeleton_grammar_t : private parser_t {
  public:
    skeleton_grammar_t(scanner_t &scanner, owner_list_t &owners, kis_t &skeleton)
        : parser_t(scanner, owners), skeleton_(skeleton) {}

    bool parse();

  private:
    bool global();
    bool bones();
    bool bone(kis_bone_table_t &bones);

    kis_t &skeleton_;
};

} // namespace kestrel
