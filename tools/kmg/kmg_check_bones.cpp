#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"

#include <algorithm>

namespace kestrel {

namespace {

// Rounding of single precision through two products of matrices; a fault is larger by far.
constexpr double relative_tolerance = 1e-5;
constexpr double absolute_tolerance = 1e-4;
constexpr double quaternion_tolerance = 1e-4;
// Below it a matrix has no inverse in the file, only its adjugate; slightly above, since it is computed in
// single precision.
constexpr double least_determinant = 1.001e-5;
// Of a linear part whose largest element is 1.
constexpr double flat_determinant = 1e-6;

// Largest amount by which an element differs, where `magnitude` tells what was added up to make it.
struct mismatch_t {
    double by = 0;
    bool tolerable = true;
};
mismatch_t compare(const matrix_t &found, const matrix_t &wanted, const matrix_t &magnitude, double scale) {
    mismatch_t result;
    for (size_t r = 0; r < 4; ++r)
        for (size_t c = 0; c < 4; ++c) {
            const double by = std::abs(found.m[r][c] - wanted.m[r][c]);
            result.by = std::max(result.by, by);
            if (by > absolute_tolerance * scale + relative_tolerance * magnitude.m[r][c])
                result.tolerable = false;
        }
    return result;
}

double determinant_of_rows(const matrix_t &a) {
    const auto &m = a.m;
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
           m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// A bone relative to its parent, as its matrix and the parent's inverse make it.
struct local_transform_t {
    matrix_t matrix;
    matrix_t magnitude; // what was added up to make each element
    double scale;       // the largest element of the linear part
};

local_transform_t local_transform(const kmg_bone_data_t &bone, const matrix_t &parent_inverse) {
    const matrix_t matrix = matrix_t::from(bone.matrix);
    local_transform_t local{parent_inverse * matrix, parent_inverse.absolute() * matrix.absolute(), 0};
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c)
            local.scale = std::max(local.scale, std::abs(local.matrix.m[r][c]));
    return local;
}

class bone_check_t {
  public:
    bone_check_t(const kmg_reader_t &file, size_t index, kmg_findings_t &findings)
        : file_(file), bone_(file.bones()[index]),
          place_(place_of(kmg_record_kind_t::bone, file.header().bones_offset, kmg_bone_data_t::size, index)),
          findings_(findings) {}

    void run() {
        check_name(bone_.name, place_, findings_);
        if (bone_.reserved != std::array<uint8_t, 3>{})
            report(finding_code_t::bone_reserved, bone_.reserved, "reserved bytes are not zero");
        if (!check_reals(bone_, place_, findings_))
            return;
        check_inverse();
        compare_local_transform();
    }

    const kmg_place_t &place() const { return place_; }
    uint64_t name() const { return bone_.name; }

  private:
    void report(finding_code_t code, const auto &member, std::string text) {
        findings_.add(code, place_of_field(place_, bone_, member), std::move(text));
    }
    void check_inverse();
    void compare_local_transform();
    bool check_parts();
    void check_composition(const local_transform_t &local);

    const kmg_reader_t &file_;
    const kmg_bone_data_t bone_;
    const kmg_place_t place_;
    kmg_findings_t &findings_;
};

void bone_check_t::check_inverse() {
    const matrix_t matrix = matrix_t::from(bone_.matrix);
    const matrix_t inverse = matrix_t::from(bone_.inverse);
    const mismatch_t off =
        compare(matrix * inverse, identity_matrix, matrix.absolute() * inverse.absolute(), 1);
    if (off.tolerable)
        return;
    if (std::abs(determinant_of_rows(matrix)) < least_determinant)
        report(finding_code_t::bone_singular, bone_.matrix,
               "matrix is singular, what stands for its inverse is none");
    else
        report(finding_code_t::bone_inverse, bone_.inverse,
               concat("matrix times inverse is off the identity by ", static_cast<float>(off.by)));
}

bool bone_check_t::check_parts() {
    bool sound = true;
    const auto check_quaternion = [&](const kmg_float4_t &quaternion, const char *name) {
        if (std::abs(length(quaternion) - 1) <= quaternion_tolerance)
            return;
        report(finding_code_t::bone_rotation, quaternion,
               concat(name, " has length ", static_cast<float>(length(quaternion)), ", expected 1"));
        sound = false;
    };
    check_quaternion(bone_.stretch_rotation, "stretch_rotation");
    check_quaternion(bone_.rotation, "rotation");
    if (bone_.sign != 1 && bone_.sign != -1) {
        report(finding_code_t::bone_sign, bone_.sign, concat("sign is ", bone_.sign, ", expected 1 or -1"));
        sound = false;
    }
    return sound;
}

void bone_check_t::compare_local_transform() {
    kmg_matrix_t parent_inverse{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    if (bone_.parent != kmg_no_parent)
        parent_inverse = file_.bones()[bone_.parent].inverse;
    if (!all_finite(parent_inverse))
        return; // told at the parent
    const local_transform_t local = local_transform(bone_, matrix_t::from(parent_inverse));
    // What flattens space has no rotation of its own, so the parts need not mean anything.
    if (std::abs(determinant_of_rows(local.matrix)) <= flat_determinant * std::pow(local.scale, 3))
        report(finding_code_t::bone_singular, bone_.matrix,
               "the transform relative to the parent is singular");
    else if (check_parts())
        check_composition(local);
}

void bone_check_t::check_composition(const local_transform_t &local) {
    // The parts hold an affine transform: whatever the last row is, they cannot say.
    matrix_t composed = composed_local_transform(bone_);
    std::copy(std::begin(local.matrix.m[3]), std::end(local.matrix.m[3]), std::begin(composed.m[3]));
    const mismatch_t off = compare(composed, local.matrix, local.magnitude, local.scale);
    if (!off.tolerable)
        report(finding_code_t::bone_local, bone_.rotation,
               concat("rotation, stretch and translation miss the local transform by ",
                      static_cast<float>(off.by)));
}

} // namespace

void check_bones(const kmg_reader_t &file, kmg_findings_t &findings) {
    repeated_names_t names;
    for (size_t i = 0; i < file.bones().size(); ++i) {
        bone_check_t check(file, i, findings);
        check.run();
        names.add(check.name(), check.place());
    }
    names.report(findings);
}

} // namespace kestrel
