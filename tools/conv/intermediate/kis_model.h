#pragma once

// A text skeleton (.kis) in memory, and the inverse of a bone's matrix.

#include "kcore/collections/hashed_table.h"
#include "kcore/strings/string.h"
#include "tools/conv/intermediate/kix_object.h"

#include <array>
#include <optional>
#include <span>

namespace kestrel {

struct kis_global_t : kix_object_t {
    uint32_t bone_count = 0; // as declared
};

struct kis_bone_t {
    string_dyn_t name;
    string_dyn_t parent;          // its name, empty for a root
    std::array<float, 16> matrix; // in file order, and so is the inverse
    std::array<float, 16> inverse;
    bool invertible;
};

class kis_bone_table_t : public kix_object_t {
  public:
    // Appends a bone and works out its inverse.
    const kis_bone_t &add_bone(std::string_view name, std::string_view parent,
                               const std::array<float, 16> &matrix);

    std::span<const kis_bone_t> bones() const { return bones_.items(); }
    // The first bone of that name, letter case included.
    std::optional<uint32_t> find(std::string_view name) const;

  private:
    array_dyn_t<kis_bone_t> bones_;
    hashed_table_t positions_; // of the bones, by name
};

struct kis_t : kix_object_t {
    kix_header_t *header = nullptr;
    kis_global_t *global = nullptr;
    kis_bone_table_t *bones = nullptr;
    string_dyn_t source_name; // the skeleton file's display name
    uint64_t hash = 0;        // of its place in the asset tree; 0 when that cannot be worked out
};

// The inverse of a general 4 x 4 matrix by cofactors, in single precision.
//
// Transposing and inverting commute, so rows and columns may be read either way round as long as the result
// is read the same way.
struct matrix_inverse_t {
    std::array<float, 16> values;
    // False when the determinant lies within 0.00001 of zero; the values are then the adjugate, not divided
    // by it.
    bool invertible;
};

matrix_inverse_t invert_matrix(std::span<const float, 16> m);

} // namespace kestrel
