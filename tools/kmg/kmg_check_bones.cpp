#include "kcore/collections/city_hash.h"
#include "tools/kmg/affine.h"
#include "tools/kmg/kmg_checks.h"

#include <algorithm>

namespace kestrel {

namespace {

// Rounding of single precision through two products of matrices; a fault is larger by far.
constexpr double relative_tolerance = 1e-5;
constexpr double absolute_tolerance = 1e-4;
constexpr double quaternion_tolerance = 1e-4;
constexpr double last_row_tolerance = 1e-5; // of an inverse; a matrix is written as it was read
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
            if (!(by <= absolute_tolerance * scale + relative_tolerance * magnitude.m[r][c]))
                result.tolerable = false;
        }
    return result;
}

double largest_of_linear_part(const matrix_t &matrix) {
    double largest = 0;
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c)
            largest = std::max(largest, std::abs(matrix.m[r][c]));
    return largest;
}

// The product, and what was added up to make each of its elements.
struct product_t {
    product_t(const matrix_t &a, const matrix_t &b)
        : matrix(a * b), magnitude(a.absolute() * b.absolute()), scale(largest_of_linear_part(matrix)) {}

    mismatch_t mismatch(const matrix_t &wanted) const { return compare(matrix, wanted, magnitude, scale); }

    matrix_t matrix;
    matrix_t magnitude;
    double scale;
};

bool is_affine(const matrix_t &matrix, double tolerance) {
    for (size_t c = 0; c < 4; ++c)
        if (!(std::abs(matrix.m[3][c] - (c == 3 ? 1 : 0)) <= tolerance))
            return false;
    return true;
}

std::string last_row_text(const kmg_matrix_t &m, const char *name) {
    const std::string row = concat(m[12], " ", m[13], " ", m[14]);
    const bool column_empty = m[3] == 0 && m[7] == 0 && m[11] == 0;
    if (m[15] == 1 && column_empty)
        return concat(name, " is transposed: the translation ", row,
                      " stands in the last row, where nothing reads it, and not in the last column");
    return concat("last row of ", name, " is ", row, " ", m[15], ", expected 0 0 0 1");
}

// What the checks of a bone leave for its children.
struct checked_bone_t {
    matrix_t inverse = identity_matrix; // as it should be
    bool usable = false;                // there is one
};

class bone_check_t {
  public:
    bone_check_t(const kmg_reader_t &file, size_t index, std::span<const checked_bone_t> earlier,
                 kmg_findings_t &findings)
        : file_(file), bone_(file.bones()[index]), matrix_(matrix_t::from(bone_.matrix)),
          inverse_(matrix_t::from(bone_.inverse)), earlier_(earlier),
          place_(place_of(kmg_record_kind_t::bone, file.header().bones_offset, kmg_bone_data_t::size, index)),
          findings_(findings) {}

    checked_bone_t run() {
        check_name(bone_.name, place_, findings_);
        if (bone_.reserved != std::array<uint8_t, 3>{})
            report(finding_code_t::bone_reserved, bone_.reserved,
                   concat("reserved bytes are ", values_text(bone_.reserved), ", expected 0"));
        check_reals(bone_, place_, findings_);
        check_last_rows();
        parts_sound_ = check_parts();
        if (!all_finite(bone_.matrix))
            return {inverse_, all_finite(bone_.inverse)};
        return all_finite(bone_.inverse) ? check_matrices() : checked_bone_t{};
    }

  private:
    void report(finding_code_t code, const auto &member, std::string text) {
        findings_.add(code, place_of_field(place_, bone_, member), std::move(text));
    }
    const checked_bone_t *parent() const {
        return bone_.parent == kmg_no_parent ? &no_parent_ : &earlier_[bone_.parent];
    }
    bool is_flat() const;
    bool check_parts();
    void check_last_rows();
    checked_bone_t check_matrices();
    checked_bone_t report_inverse(double by);
    void check_local_transform();
    void blame_part(const product_t &local, double by);
    std::optional<std::string> fitting_parent() const;
    matrix_t composed(const matrix_t &local) const;

    static constexpr checked_bone_t no_parent_{identity_matrix, true};

    const kmg_reader_t &file_;
    const kmg_bone_data_t bone_;
    const matrix_t matrix_, inverse_;
    const std::span<const checked_bone_t> earlier_;
    const kmg_place_t place_;
    kmg_findings_t &findings_;
    bool parts_sound_ = false;
};

void bone_check_t::check_last_rows() {
    if (all_finite(bone_.matrix) && !is_affine(matrix_, 0))
        report(finding_code_t::bone_last_row, bone_.matrix, last_row_text(bone_.matrix, "matrix"));
    // The inverse of what is not affine is not affine either.
    else if (all_finite(bone_.inverse) && !is_affine(inverse_, last_row_tolerance))
        report(finding_code_t::bone_last_row, bone_.inverse, last_row_text(bone_.inverse, "inverse"));
}

// What flattens space has no rotation of its own, so the parts need not mean anything.
bool bone_check_t::is_flat() const {
    if (!all_finite(bone_.matrix))
        return false;
    if (!parent()->usable)
        return true;
    const matrix_t local = parent()->inverse * matrix_;
    return std::abs(determinant_of_rows(local)) <=
           flat_determinant * std::pow(largest_of_linear_part(local), 3);
}

bool bone_check_t::check_parts() {
    bool sound = all_finite(bone_.translation) && all_finite(bone_.scale);
    const bool flat = is_flat();
    const auto check_quaternion = [&](const kmg_float4_t &quaternion, const char *name) {
        const double l = length(quaternion);
        if (std::abs(l - 1) <= quaternion_tolerance)
            return;
        sound = false;
        if (all_finite(quaternion))
            report(flat ? finding_code_t::bone_singular : finding_code_t::bone_rotation, quaternion,
                   concat(name, " has length ", static_cast<float>(l), ", expected 1"));
    };
    check_quaternion(bone_.stretch_rotation, "stretch_rotation");
    check_quaternion(bone_.rotation, "rotation");
    if (bone_.sign == 1 || bone_.sign == -1)
        return sound;
    if (all_finite(bone_.sign))
        report(flat ? finding_code_t::bone_singular : finding_code_t::bone_sign, bone_.sign,
               concat("sign is ", bone_.sign, ", expected 1 or -1"));
    return false;
}

checked_bone_t bone_check_t::check_matrices() {
    const product_t product(matrix_, inverse_);
    const mismatch_t off = compare(product.matrix, identity_matrix, product.magnitude, 1);
    const double determinant = determinant_of_rows(matrix_);
    if (off.tolerable) {
        check_local_transform();
        return {inverse_, true};
    }
    if (std::abs(determinant) >= least_determinant)
        return report_inverse(off.by);
    report(finding_code_t::bone_singular, bone_.matrix,
           concat("determinant of the matrix is ", rounded_t{determinant, 3},
                  ", and the converter inverts none below 1e-05: inverse is not its inverse. A skeleton "
                  "scaled by 0.01 has 1e-06; scale it up"));
    check_local_transform();
    return {};
}

// Of matrix and inverse, the one is wrong that does not fit the local transform.
checked_bone_t bone_check_t::report_inverse(double by) {
    const matrix_t local = parent()->inverse * matrix_;
    const bool known = parts_sound_ && parent()->usable;
    const bool matrix_fits =
        known && product_t(parent()->inverse, matrix_).mismatch(composed(local)).tolerable;
    const matrix_t by_parts = composed(identity_matrix);
    const bool inverse_fits = known && product_t(by_parts, inverse_).mismatch(parent()->inverse).tolerable;
    const std::string text = concat("matrix times inverse is off the identity by ", static_cast<float>(by));
    if (!matrix_fits && inverse_fits) {
        report(finding_code_t::bone_inverse, bone_.matrix,
               text + "; the local transform fits the inverse, not the matrix");
        return {inverse_, true};
    }
    report(finding_code_t::bone_inverse, bone_.inverse,
           matrix_fits ? text + "; the local transform fits the matrix" : text);
    if (!matrix_fits)
        check_local_transform();
    return {inverted(matrix_), true};
}

// The parts hold an affine transform: whatever the last row is, they cannot say.
matrix_t bone_check_t::composed(const matrix_t &local) const {
    matrix_t result = composed_local_transform(bone_);
    std::copy(std::begin(local.m[3]), std::end(local.m[3]), std::begin(result.m[3]));
    return result;
}

void bone_check_t::check_local_transform() {
    if (!parent()->usable)
        return; // told at the parent
    const product_t local(parent()->inverse, matrix_);
    if (is_flat())
        return report(finding_code_t::bone_singular, bone_.matrix,
                      concat("relative to the parent, the bone flattens space: the determinant is ",
                             rounded_t{determinant_of_rows(local.matrix), 3}));
    if (!parts_sound_)
        return;
    const mismatch_t off = local.mismatch(composed(local.matrix));
    if (off.tolerable)
        return;
    if (const auto fitting = fitting_parent())
        report(finding_code_t::bone_local, bone_.parent, *fitting);
    else
        blame_part(local, off.by);
}

std::optional<std::string> bone_check_t::fitting_parent() const {
    const auto text = [&](const std::string &relative_to) {
        return concat("parent is ",
                      bone_.parent == kmg_no_parent
                          ? "none"
                          : named(kmg_record_kind_t::bone, bone_.parent, file_.bones()[bone_.parent].name),
                      ", but the local transform is relative to ", relative_to);
    };
    const auto fits = [&](const checked_bone_t &parent) {
        const product_t local(parent.inverse, matrix_);
        return parent.usable && local.mismatch(composed(local.matrix)).tolerable;
    };
    if (fits(no_parent_))
        return text("none");
    for (size_t i = 0; i < earlier_.size(); ++i)
        if (fits(earlier_[i]))
            return text(named(kmg_record_kind_t::bone, i, file_.bones()[i].name));
    return std::nullopt;
}

// With all other parts as they are: does the part in question turn what it should?
void bone_check_t::blame_part(const product_t &local, double by) {
    const auto report_part = [&](const auto &member, const char *name) {
        report(finding_code_t::bone_local, member,
               concat(name, " is ", values_text(member), "; with it the parts miss the local transform by ",
                      static_cast<float>(by)));
    };
    const double tolerable = absolute_tolerance * local.scale;
    matrix_t linear = local.matrix, wanted = composed(local.matrix);
    for (size_t r = 0; r < 3; ++r)
        linear.m[r][3] = wanted.m[r][3] = 0;
    if (compare(linear, wanted, local.magnitude, local.scale).tolerable)
        return report_part(bone_.translation, "translation");
    // rotation inverse x sign x linear part is the stretch: symmetric, and diagonal between its axes.
    const matrix_t unturned = rotation_matrix(normalised(bone_.rotation)).transposed() * linear;
    const matrix_t axes = rotation_matrix(normalised(bone_.stretch_rotation));
    const matrix_t along_axes = axes.transposed() * unturned * axes;
    double asymmetry = 0, slant = 0, off_mirrored = 0;
    for (size_t r = 0; r < 3; ++r)
        for (size_t c = 0; c < 3; ++c) {
            asymmetry = std::max(asymmetry, std::abs(unturned.m[r][c] - unturned.m[c][r]));
            if (r != c)
                slant = std::max(slant, std::abs(along_axes.m[r][c]));
            else
                off_mirrored = std::max(
                    off_mirrored, std::abs(along_axes.m[r][r] + static_cast<double>(bone_.sign) *
                                                                    static_cast<double>(bone_.scale[r])));
        }
    if (asymmetry > tolerable)
        report_part(bone_.rotation, "rotation");
    else if (slant > tolerable)
        report_part(bone_.stretch_rotation, "stretch_rotation");
    else if (off_mirrored <= tolerable)
        report_part(bone_.sign, "sign");
    else
        report_part(bone_.scale, "scale");
}

void check_lost_names(const kmg_reader_t &file, kmg_findings_t &findings) {
    std::vector<uint32_t> lost;
    for (uint32_t i = 0; i < file.header().bone_count; ++i)
        if (has_lost_its_name(file.bones()[i].name, i))
            lost.push_back(i);
    if (!lost.empty())
        findings.add(
            finding_code_t::bone_unnamed,
            place_of(kmg_record_kind_t::bone, file.header().bones_offset, kmg_bone_data_t::size, lost[0]),
            concat(lost.size(), " of ", counted_t{file.header().bone_count, "bone"},
                   " have lost their names, which are no tokens, and cannot be found by them: ",
                   list_text(lost)));
}

// The hash is that of the skeleton's path; one with parent references is hashed in another form.
void check_skeleton_hash(const kmg_header_t &header, std::string_view skeleton, kmg_findings_t &findings) {
    const auto report = [&](auto &&...text) {
        findings.add(finding_code_t::skeleton_hash,
                     place_of_field(header_place, header, header.skeleton_hash),
                     concat("skeleton_hash is ", text...));
    };
    const hex_t found{header.skeleton_hash}, wanted{city_hash_64(skeleton)};
    if (header.bone_count == 0 && header.skeleton_hash != 0)
        report(found, ", though there are no bones");
    else if (header.bone_count != 0 && header.skeleton_hash == 0)
        report("0, though there are bones");
    else if (header.bone_count != 0 && !skeleton.empty() && skeleton.find("..") == skeleton.npos &&
             header.skeleton_hash != city_hash_64(skeleton))
        report(found, ", that of ", quoted(skeleton), " is ", wanted);
}

} // namespace

void check_bones(const kmg_reader_t &file, std::string_view skeleton, kmg_findings_t &findings) {
    const kmg_header_t &header = file.header();
    check_skeleton_hash(header, skeleton, findings);
    std::vector<checked_bone_t> checked;
    checked.reserve(header.bone_count);
    for (size_t i = 0; i < header.bone_count; ++i)
        checked.push_back(bone_check_t(file, i, checked, findings).run());
    check_lost_names(file, findings);
    check_repeated_names(file.bones(), header.bone_count, kmg_record_kind_t::bone, header.bones_offset,
                         findings);
}

} // namespace kestrel
