#include "kcore/strings/string.h"
#include "kcore/strings/token.h"
#include "tools/conv/kim2kmg/affine/affine_decomposition.h"
#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"

namespace kestrel {

namespace {

using matrix_t = std::array<float, 16>;

bool check_bone_counts(const kmg_writer_t &writer) {
    const kis_t &skeleton = *writer.skeleton;
    const size_t skeleton_bones = skeleton.bones->bones().size();
    const size_t model_bones = writer.model.bone_names.size();
    if (skeleton_bones > kmg_max_bones)
        return msg_error("[kim2kmg] %s: Too many bones in skeleton (%Iu, max. allowed bone count is %d)",
                         skeleton.source_name.c_str(), skeleton_bones, static_cast<int>(kmg_max_bones));
    if (model_bones != skeleton_bones)
        return msg_error(
            "[kim2kmg] %s: Mismatched number of bones (%Iu) with skeleton file '%s' bones (%Iu). "
            "Probably result of a partial commit (.kim without .kis or vice versa), check log.",
            writer.source_name(), model_bones, skeleton.source_name.c_str(), skeleton_bones);
    return true;
}

// The parent of bone i, which comes before it; false after a message when there is no such bone.
bool find_parent(const kis_t &skeleton, size_t i, uint8_t &parent) {
    const kis_bone_t &bone = skeleton.bones->bones()[i];
    const char *const file = skeleton.source_name.c_str();
    if (bone.parent.empty()) {
        parent = kmg_no_parent;
        return true;
    }
    const auto found = skeleton.bones->find(bone.parent.view());
    if (!found)
        return msg_error("[kim2kmg] %s: cannot match parent bone '%s' with skeleton", file,
                         bone.parent.c_str());
    const size_t position = *found;
    if (position == i)
        return msg_error("[kim2kmg] %s: circular parentship ordering - bone: '%s' parent: '%s' index: %Iu",
                         file, bone.name.c_str(), bone.parent.c_str(), i);
    if (position > i)
        return msg_error("[kim2kmg] %s: incorrect bone ordering - bone: '%s' (%Iu) < parent: '%s' (%Iu)",
                         file, bone.name.c_str(), i, bone.parent.c_str(), position);
    parent = static_cast<uint8_t>(position);
    return true;
}

matrix_t product(const matrix_t &a, const matrix_t &b) {
    matrix_t result;
    for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c)
            result[4 * r + c] = a[4 * r] * b[c] + a[4 * r + 1] * b[4 + c] + a[4 * r + 2] * b[8 + c] +
                                a[4 * r + 3] * b[12 + c];
    return result;
}

// Names that cannot be tokens are replaced by one made of the bone's index.
token_t name_of(const kis_bone_t &bone, size_t i) {
    if (const auto token = token_t::from_string(bone.name.view()))
        return *token;
    name_t numbered;
    numbered.assign_formatted("unnamed_%03Iu", i);
    return *token_t::from_string(numbered.view());
}

void fill_record(std::span<const kis_bone_t> bones, size_t i, kmg_bone_data_t &record) {
    const kis_bone_t &bone = bones[i];
    const matrix_t local =
        record.parent == kmg_no_parent ? bone.matrix : product(bones[record.parent].inverse, bone.matrix);
    const affine_parts_t parts = affine_decomposition(local);
    record.name = name_of(bone, i).value();
    record.matrix = bone.matrix;
    record.inverse = bone.inverse;
    record.stretch_rotation = parts.u;
    record.rotation = parts.q;
    record.translation = parts.t;
    record.scale = parts.k;
    record.sign = parts.f;
}

} // namespace

bool build_bones(kmg_writer_t &writer) {
    if (!writer.skeleton)
        return true;
    if (!check_bone_counts(writer))
        return false;
    const auto bones = writer.skeleton->bones->bones();
    for (size_t i = 0; i < bones.size(); ++i)
        if (!find_parent(*writer.skeleton, i, writer.bones[i].parent))
            return false;
    for (size_t i = 0; i < bones.size(); ++i)
        fill_record(bones, i, writer.bones[i]);
    return true;
}

} // namespace kestrel
