// Any bytes as a text skeleton; a window of another size gives the same skeleton and the same messages.

#include "fuzz/text_input.h"

#include <cstring>

namespace kestrel {

void fuzz_skeleton_text(fuzz_input_t input) {
    const std::string_view text = text_of(input);
    const fuzz_parse_t<kis_t> parsed(text, text_window_t::usual_size, parse_skeleton);
    const fuzz_parse_t<kis_t> windowed(text, small_window(text), parse_skeleton);
    const kis_t *const skeleton = parsed.root;
    promise(skeleton || parsed.errors != 0, "a refused skeleton is reported");
    promise(!skeleton == !windowed.root && parsed.messages == windowed.messages,
            "the window changes no message");
    if (!skeleton)
        return;
    promise(skeleton->header && skeleton->global && skeleton->bones, "a parsed skeleton is whole");
    const auto bones = skeleton->bones->bones();
    promise(bones.size() == skeleton->global->bone_count, "the bones are as many as declared");
    for (uint32_t i = 0; i < bones.size(); ++i) {
        const auto found = skeleton->bones->find(bones[i].name.view());
        promise(found && *found <= i, "every name is found");
        promise(bones[*found].name.view() == bones[i].name.view(), "a name finds a bone of that name");
        const kis_bone_t &other = windowed.root->bones->bones()[i];
        promise(other.name.view() == bones[i].name.view() && other.parent.view() == bones[i].parent.view() &&
                    std::memcmp(&other.matrix, &bones[i].matrix, sizeof other.matrix) == 0,
                "both windows give the same bones");
    }
}

} // namespace kestrel
