#include "tools/kmg/kmg_layout_and_limits.h"
#include "tools/lint/lint_checks.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

using code_t = lint_code_t;

// The fields of a bone in the order of the text.
enum bone_field_t : size_t { name_field, parent_field, matrix_field, bone_fields };

class skeleton_check_t {
  public:
    skeleton_check_t(const kis_t &skeleton, lint_context_t &context)
        : table_(*skeleton.bones), bones_(table_.bones()), map_(context.map), findings_(context.findings) {}

    void run() {
        if (bones_.size() > kmg_max_bones)
            findings_.add(code_t::bones_many, map_.field("GLOBAL"_kw, 0, "BONECOUNT"_kw), [&] {
                return concat("the skeleton has ", bones_.size(), " bones, at most ", kmg_max_bones,
                              " are possible");
            });
        check_names();
        for (size_t i = 0; i < bones_.size(); ++i) {
            check_parent(i);
            check_matrix(i);
        }
    }

  private:
    void check_names();
    void check_parent(size_t bone);
    void check_matrix(size_t bone);
    text_place_t at(size_t bone, bone_field_t field) const {
        return map_.nth_field("BONES"_kw, 0, 1 + bone * bone_fields + field);
    }
    std::string named(size_t bone) const {
        return concat("bone ", bone, " ", quoted(bones_[bone].name.view()));
    }

    const kis_bone_table_t &table_;
    const std::span<const kis_bone_t> bones_;
    const source_map_t &map_;
    lint_findings_t &findings_;
};

void skeleton_check_t::check_names() {
    name_check_t names;
    std::vector<uint32_t> unnamed;
    for (uint32_t i = 0; i < bones_.size(); ++i) {
        names.add(bones_[i].name.view(), concat("bone ", i), at(i, name_field), findings_);
        if (!is_token_name(bones_[i].name.view()))
            unnamed.push_back(i);
    }
    if (unnamed.empty())
        return;
    findings_.add(code_t::bone_unnamed, at(unnamed[0], name_field), [&] {
        const std::string digits = concat(1000 + unnamed[0]).substr(1);
        return concat(unnamed.size(), " of ", counted_t{bones_.size(), "bone"}, " lose their names (",
                      list_text(unnamed), "): ", quoted(bones_[unnamed[0]].name.view()), " becomes unnamed_",
                      digits);
    });
}

void skeleton_check_t::check_parent(size_t bone) {
    const std::string_view parent = bones_[bone].parent.view();
    if (parent.empty())
        return;
    const auto found = table_.find(parent);
    if (!found || *found == bone)
        findings_.add(code_t::bone_parent, at(bone, parent_field), [&] {
            return concat("the parent of ", named(bone), " is ",
                          found ? "the bone itself" : concat(quoted(parent), ", which does not exist"));
        });
    else if (*found > bone)
        findings_.add(code_t::bone_order, at(bone, parent_field),
                      [&] { return concat(named(bone), " stands before its parent, ", named(*found)); });
}

void skeleton_check_t::check_matrix(size_t bone) {
    const std::array<float, 16> &m = bones_[bone].matrix;
    const text_place_t place = at(bone, matrix_field);
    if (std::any_of(m.begin(), m.end(), [](float value) { return !std::isfinite(value); }))
        return findings_.add(code_t::infinite, place, [&] {
            return concat("the matrix of ", named(bone), " has a value beyond 3.4e38");
        });
    if (!bones_[bone].invertible)
        findings_.add(code_t::bone_singular, place,
                      [&] { return concat("the matrix of ", named(bone), " has no inverse"); });
    if (m[12] != 0 || m[13] != 0 || m[14] != 0 || m[15] != 1)
        findings_.add(code_t::bone_last_row, place, [&] {
            const bool transposed = m[3] == 0 && m[7] == 0 && m[11] == 0 && m[15] == 1;
            return concat("the last row of the matrix of ", named(bone), " is ",
                          short_text(std::span(m).subspan(12)),
                          transposed ? "; rows and columns are exchanged" : "");
        });
}

} // namespace

void check_skeleton(const kis_t &skeleton, lint_context_t &context) {
    skeleton_check_t(skeleton, context).run();
}

} // namespace kestrel
