#include "tools/conv/intermediate/kis_model.h"

#include "kcore/collections/city_hash.h"
#include "tools/conv/intermediate/matrix_inverse.h"

#include <algorithm>

namespace kestrel {

bool kis_bone_table_t::add_bone(std::string_view name, std::string_view parent,
                                std::span<const float, 16> matrix) {
    kis_bone_t bone;
    if (!bone.name.assign(name) || !bone.parent.assign(parent))
        return false;
    const matrix_inverse_t inverse = invert_matrix(matrix);
    std::copy(matrix.begin(), matrix.end(), bone.matrix.begin());
    bone.inverse = inverse.values;
    bone.invertible = inverse.invertible;
    const auto position = static_cast<uint32_t>(bones_.size());
    bones_.push_back(std::move(bone));
    positions_.find_or_add(city_hash_64(name), position,
                           [&](uint32_t i) { return bones_[i].name.view() == name; });
    return true;
}

std::optional<uint32_t> kis_bone_table_t::find(std::string_view name) const {
    const uint32_t position =
        positions_.find(city_hash_64(name), [&](uint32_t i) { return bones_[i].name.view() == name; });
    return position != hashed_table_t::none ? std::optional(position) : std::nullopt;
}

} // namespace kestrel
