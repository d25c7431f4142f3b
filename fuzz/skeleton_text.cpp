// Any bytes as a text skeleton.

#include "fuzz/check.h"
#include "fuzz/padded_input.h"
#include "tools/conv/intermediate/parse_file.h"

namespace kestrel {

void fuzz_skeleton_text(fuzz_input_t input) {
    message_counter_t messages;
    const padded_input_t text(input);
    owner_list_t owners;
    const kis_t *skeleton = parse_skeleton_text(text.view(), "s.kis", owners);
    promise(skeleton || messages.errors() != 0, "a refused skeleton is reported");
    if (!skeleton)
        return;
    promise(skeleton->header && skeleton->global && skeleton->bones, "a parsed skeleton is whole");
    const auto bones = skeleton->bones->bones();
    promise(bones.size() == skeleton->global->bone_count, "the bones are as many as declared");
    for (uint32_t i = 0; i < bones.size(); ++i) {
        const auto found = skeleton->bones->find(bones[i].name.view());
        promise(found && *found <= i, "every name is found");
        promise(bones[*found].name.view() == bones[i].name.view(), "a name finds a bone of that name");
    }
}

} // namespace kestrel
