// The grammar of text skeletons (.kis): Header, Global with the bone count, and Bones. Parents are names and
// are not resolved here.

#include "kcore/messages/messages.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/intermediate/parser.h"

namespace kestrel {

namespace {

constexpr uint32_t skeleton_format_version = 1;

class skeleton_grammar_t : private parser_t {
  public:
    skeleton_grammar_t(scanner_t &scanner, owner_list_t &owners, kis_t &skeleton)
        : parser_t(scanner, owners), skeleton_(skeleton) {}

    bool parse() {
        if (!header(skeleton_.header))
            return false;
        if (skeleton_.header->format_version != skeleton_format_version)
            fail("unsupported FormatVersion", skeleton_.header->format_version,
                 skeleton_format_version); // reported only: the rest may well be readable
        return global() && bones() && expect(token_kind_t::end_of_input);
    }

  private:
    bool global() {
        skeleton_.global = create<kis_global_t>();
        return open("GLOBAL"_kw) && integer_field("BONECOUNT"_kw, skeleton_.global->bone_count) && close();
    }

    bool bones() {
        auto *const bones = create<kis_bone_table_t>();
        if (!open("BONES"_kw) || !one_or_more(token_kind_t::integer, [&] { return bone(*bones); }) ||
            !close())
            return false;
        skeleton_.bones = bones;
        return check(bones->bones().size() == skeleton_.global->bone_count,
                     "incorrect number of bones in Skeleton", skeleton_.global->bone_count,
                     bones->bones().size());
    }

    bool bone(kis_bone_table_t &bones) {
        uint32_t index = 0;
        name_t name, parent;
        std::array<float, 16> matrix;
        if (!integer(index) || !expect(token_kind_t::left_parenthesis) || !text_field("NAME"_kw, name) ||
            !text_field("PARENT"_kw, parent) || !label("MATRIX"_kw) || !reals(matrix) ||
            !expect(token_kind_t::right_parenthesis) ||
            !check(index == bones.bones().size(), "inconsistent Skeleton bone order", index,
                   bones.bones().size()))
            return false;
        if (!bones.add_bone(name.view(), parent.view(), matrix).invertible && !scanner_.observer())
            msg_warning("[kis] %s: bone '%s' has a matrix without an inverse", scanner_.file_name(),
                        name.c_str());
        return true;
    }

    kis_t &skeleton_;
};

} // namespace

kis_t *parse_skeleton(scanner_t &scanner, owner_list_t &owners) {
    kis_t *const skeleton = owners.create<kis_t>();
    return skeleton_grammar_t(scanner, owners, *skeleton).parse() && !scanner.failed() ? skeleton : nullptr;
}

} // namespace kestrel
