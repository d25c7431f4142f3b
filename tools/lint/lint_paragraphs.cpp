#include "kcore/strings/token.h"
#include "tools/lint/lint_checks.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

using code_t = lint_code_t;

class paragraph_check_t {
  public:
    paragraph_check_t(const kim_t &model, lint_context_t &context)
        : model_(model), map_(context.map), findings_(context.findings) {}

    void run() {
        check_counts();
        check_materials();
        check_parts();
        check_locators();
        if (!model_.has_skinning() && !model_.global->skeleton.empty())
            findings_.add(code_t::skeleton_unused, map_.field("GLOBAL"_kw, 0, "SKELETON"_kw), [&] {
                return concat("Skeleton is ", quoted(model_.global->skeleton.view()),
                              ", and the model has no skin");
            });
    }

  private:
    void check_counts();
    void check_materials();
    void check_parts();
    void check_lists(std::string_view what, code_t code, token_kind_t field, size_t count,
                     array_dyn_t<uint32_t> kix_part_t::*list);
    void check_locators();
    void check_locator(size_t number);
    void unchecked(std::string_view name, uint64_t declared, uint64_t found, std::string_view what,
                   text_place_t place) {
        if (declared != found)
            findings_.add(code_t::count_unchecked, place, [&] {
                return concat(name, " is ", declared, ", found ", counted_t{found, what});
            });
    }

    const kim_t &model_;
    const source_map_t &map_;
    lint_findings_t &findings_;
};

void paragraph_check_t::check_counts() {
    const kim_global_t &global = *model_.global;
    unchecked("MaterialCount", global.material_count, model_.materials.size(), "material",
              map_.field("GLOBAL"_kw, 0, "MATERIALCOUNT"_kw));
    if (model_.bone_names.empty())
        unchecked("BoneCount", global.bone_count, 0, "bone name", map_.field("GLOBAL"_kw, 0, "BONECOUNT"_kw));
    for (size_t i = 0; i < model_.parts.size(); ++i) {
        const kix_part_t &part = *model_.parts[i];
        unchecked("PieceCount", part.piece_count, part.pieces.size(), "piece in the list",
                  map_.field("PART"_kw, i, "PIECECOUNT"_kw));
        unchecked("LocatorCount", part.locator_count, part.locators.size(), "locator in the list",
                  map_.field("PART"_kw, i, "LOCATORCOUNT"_kw));
    }
    for (size_t i = 0; i < model_.pieces.size(); ++i)
        if (model_.pieces[i]->index != i)
            findings_.add(code_t::index, map_.field("PIECE"_kw, i, "INDEX"_kw), [&] {
                return concat("Index is ", model_.pieces[i]->index, ", the piece is number ", i);
            });
    for (size_t i = 0; i < model_.locators.size(); ++i)
        if (model_.locators[i]->index != i)
            findings_.add(code_t::index, map_.field("LOCATOR"_kw, i, "INDEX"_kw), [&] {
                return concat("Index is ", model_.locators[i]->index, ", the locator is number ", i);
            });
}

void paragraph_check_t::check_materials() {
    std::vector<bool> used(model_.materials.size());
    for (size_t i = 0; i < model_.pieces.size(); ++i) {
        const uint32_t material = model_.pieces[i]->material;
        if (material < used.size())
            used[material] = true;
        else
            findings_.add(code_t::material, map_.field("PIECE"_kw, i, "MATERIAL"_kw), [&] {
                return concat("Material is ", material, ", the file has ", counted_t{used.size(), "material"},
                              used.empty() ? "" : concat(", 0 to ", used.size() - 1));
            });
    }
    for (size_t i = 0; i < used.size(); ++i)
        if (!used[i])
            findings_.add(code_t::material_unused, map_.paragraph("MATERIAL"_kw, i), [&] {
                return concat("no piece uses material ", i, " ", quoted(model_.materials[i]->alias.view()));
            });
}

void paragraph_check_t::check_parts() {
    name_check_t names;
    for (size_t i = 0; i < model_.parts.size(); ++i) {
        const std::string_view name = model_.parts[i]->name.view();
        const text_place_t place = map_.field("PART"_kw, i, "NAME"_kw);
        if (!is_token_name(name))
            findings_.add(code_t::name_token, place, [&] {
                return concat("part ", i, " is named ", quoted(name), " (",
                              counted_t{name.size(), "character"}, ")");
            });
        else
            names.add(name, concat("part ", i), place, findings_);
    }
    check_lists("piece", code_t::part_piece, "PIECES"_kw, model_.pieces.size(), &kix_part_t::pieces);
    check_lists("locator", code_t::part_locator, "LOCATORS"_kw, model_.locators.size(),
                &kix_part_t::locators);
}

// Of pieces each must be listed; locators need not be.
void paragraph_check_t::check_lists(std::string_view what, code_t code, token_kind_t field, size_t count,
                                    array_dyn_t<uint32_t> kix_part_t::*list) {
    std::vector<bool> listed(count);
    for (size_t i = 0; i < model_.parts.size(); ++i) {
        const kix_part_t &part = *model_.parts[i];
        for (const uint32_t number : part.*list) {
            const bool exists = number < count;
            if (!exists || listed[number])
                findings_.add(code, map_.field("PART"_kw, i, field), [&] {
                    return concat("part ", quoted(part.name.view()), " lists ", what, " ", number,
                                  exists ? ", which has been listed before"
                                         : concat(", the file has ", counted_t{count, what}));
                });
            if (exists)
                listed[number] = true;
        }
    }
    for (size_t i = 0; i < count; ++i)
        if (!listed[i]) {
            if (code == code_t::part_piece)
                findings_.add(code, map_.paragraph("PIECE"_kw, i),
                              [&] { return concat("no part lists piece ", i); });
            else
                findings_.add(code_t::locator_unlisted, map_.paragraph("LOCATOR"_kw, i), [&] {
                    return concat("no part lists locator ", i, " ", quoted(model_.locators[i]->name.view()));
                });
        }
}

void paragraph_check_t::check_locators() {
    name_check_t names;
    for (size_t i = 0; i < model_.locators.size(); ++i) {
        const std::string_view name = model_.locators[i]->name.view();
        const text_place_t place = map_.field("LOCATOR"_kw, i, "NAME"_kw);
        if (!is_token_name(name))
            findings_.add(code_t::name_token, place, [&] {
                return concat("locator ", i, " is named ", quoted(name), " (",
                              counted_t{name.size(), "character"}, ")");
            });
        else
            names.add(name, concat("locator ", i), place, findings_);
        check_locator(i);
    }
}

void paragraph_check_t::check_locator(size_t number) {
    const kim_locator_t &locator = *model_.locators[number];
    const auto at = [&](token_kind_t field) { return map_.field("LOCATOR"_kw, number, field); };
    const auto text = [&](std::string_view what, std::span<const float> values) {
        return [=] { return concat(what, " is ", short_text(values)); };
    };
    const float position[] = {locator.position.x, locator.position.y, locator.position.z};
    const float scale[] = {locator.scale.x, locator.scale.y, locator.scale.z};
    const auto any = [](std::span<const float> values, auto &&test) {
        return std::any_of(values.begin(), values.end(), test);
    };
    const auto infinite = [](float value) { return !std::isfinite(value); };
    if (any(position, infinite))
        findings_.add(code_t::infinite, at("POSITION"_kw), text("Position", position));
    double squares = 0;
    for (const float value : locator.rotation)
        squares += static_cast<double>(value) * static_cast<double>(value);
    if (any(locator.rotation, infinite))
        findings_.add(code_t::infinite, at("ROTATION"_kw), text("Rotation", locator.rotation));
    else if (std::abs(std::sqrt(squares) - 1) > 1e-3)
        findings_.add(code_t::locator_rotation, at("ROTATION"_kw), [&] {
            return concat("Rotation has length ", rounded_t{std::sqrt(squares), 4}, ", expected 1");
        });
    if (any(scale, [](float value) { return value <= 0; }))
        findings_.add(code_t::locator_scale, at("SCALE"_kw), text("Scale", scale));
    else if (any(scale, [](float value) { return std::abs(value - 1) > 1e-4f; }))
        findings_.add(code_t::scale_dropped, at("SCALE"_kw), text("Scale", scale));
}

} // namespace

bool is_token_name(std::string_view name) {
    return token_t::from_string(name).has_value();
}

void name_check_t::add(std::string_view name, const std::string &what, text_place_t place,
                       lint_findings_t &findings) {
    if (name.empty())
        return findings.add(lint_code_t::name_empty, place, concat(what, " has no name"));
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const auto added = seen_.emplace(std::move(folded), what);
    if (!added.second)
        findings.add(lint_code_t::name_repeated, place, [&] {
            return concat(what, " has the name of ", added.first->second, ", ", quoted(name));
        });
}

void check_paragraphs(const kim_t &model, lint_context_t &context) {
    paragraph_check_t(model, context).run();
}

} // namespace kestrel
