#include "tools/conv/intermediate/skeleton_grammar.h"

#include "kcore/messages/messages.h"

namespace kestrel {

static constexpr uint32_t skeleton_format_version = 1;

bool skeleton_grammar_t::parse() {
    if (!header(skeleton_.header))
        return false;
    if (skeleton_.header->format_version != skeleton_format_version)
        fail("unsupported FormatVersion"); // reported only: the rest may well be readable
    return global() && bones() && expect(token_kind_t::end_of_input);
}

bool skeleton_grammar_t::global() {
    uint32_t bone_count = 0;
    if (!open("GLOBAL"_kw) || !integer_field("BONECOUNT"_kw, bone_count) || !close() ||
        !create(skeleton_.global))
        return false;
    skeleton_.global->bone_count = bone_count;
    return true;
}

bool skeleton_grammar_t::bones() {
    if (!open("BONES"_kw))
        return false;
    kis_bone_table_t *bones;
    if (!create(bones))
        return false;
    do {
        if (!bone(*bones))
            return false;
    } while (next_is(token_kind_t::integer));
    if (!close())
        return false;
    if (bones->bones().size() != skeleton_.global->bone_count)
        return fail("incorrect number of bones in Skeleton");
    skeleton_.bones = bones;
    return true;
}

bool skeleton_grammar_t::bone(kis_bone_table_t &bones) {
    uint32_t index = 0;
    name_t name, parent;
    float matrix[16];
    if (!integer(index) || !expect(token_kind_t::left_parenthesis) || !text_field("NAME"_kw, name) ||
        !text_field("PARENT"_kw, parent) || !label("MATRIX"_kw) || !reals(matrix) ||
        !expect(token_kind_t::right_parenthesis))
        return false;
    if (index != bones.bones().size())
        return fail("inconsistent Skeleton bone order");
    if (!bones.add_bone(name.view(), parent.view(), matrix))
        return no_memory();
    if (!bones.bones().back().invertible)
        msg_warning("[kis] %s: bone '%s' has a matrix without an inverse", scanner_.file_name(),
                    name.c_str());
    return true;
}

} // namespace kestrel
