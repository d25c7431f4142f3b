#include "tools/conv/kim2kmg/writer/influences.h"
#include "tools/lint/lint_checks.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

namespace kestrel {

namespace {

using code_t = lint_code_t;

constexpr float sum_tolerance = 0.01f;
constexpr float small_weight = 0.01f; // smaller ones may come to nothing
constexpr size_t suspicious_weights = 16;

// Which vertices are in a skin item. Skins know pieces by their Index, which several may have.
class vertex_table_t {
  public:
    explicit vertex_table_t(const kim_t &model) {
        for (const kix_piece_t *piece : model.pieces)
            groups_.push_back({piece->index, piece->vertex_count, piece->vertex_count, 0});
        std::sort(groups_.begin(), groups_.end(),
                  [](const group_t &a, const group_t &b) { return a.index < b.index; });
        size_t groups = 0, vertices = 0;
        for (const group_t &group : groups_) {
            if (groups == 0 || groups_[groups - 1].index != group.index)
                groups_[groups++] = group;
            group_t &kept = groups_[groups - 1];
            kept.fewest = std::min(kept.fewest, group.fewest);
            kept.most = std::max(kept.most, group.most);
        }
        groups_.resize(groups);
        for (group_t &group : groups_) {
            group.first = vertices;
            vertices += group.most;
        }
        is_skinned_.resize(vertices);
    }

    enum class result_t : uint8_t { added, repeated, beyond, no_piece };
    result_t add(uint32_t index, uint32_t vertex) {
        if (last_ >= groups_.size() || groups_[last_].index != index)
            last_ = find(index);
        if (last_ >= groups_.size() || groups_[last_].index != index)
            return result_t::no_piece;
        const group_t &group = groups_[last_];
        if (vertex >= group.fewest)
            return result_t::beyond;
        return std::exchange(is_skinned_[group.first + vertex], uint8_t{1}) ? result_t::repeated
                                                                            : result_t::added;
    }
    tally_t unskinned_of(const kix_piece_t &piece) const {
        tally_t unskinned;
        const size_t first = groups_[find(piece.index)].first;
        for (uint32_t vertex = 0; vertex < piece.vertex_count; ++vertex)
            if (!is_skinned_[first + vertex])
                unskinned.add(vertex);
        return unskinned;
    }

  private:
    struct group_t {
        uint32_t index, fewest, most; // vertices of its pieces
        size_t first;
    };
    size_t find(uint32_t index) const {
        return static_cast<size_t>(
            std::lower_bound(groups_.begin(), groups_.end(), index,
                             [](const group_t &group, uint32_t i) { return group.index < i; }) -
            groups_.begin());
    }

    std::vector<group_t> groups_;
    std::vector<uint8_t> is_skinned_;
    size_t last_ = 0;
};

class skin_check_t {
  public:
    skin_check_t(const kim_t &model, lint_context_t &context)
        : model_(model), map_(context.map), findings_(context.findings), table_(model),
          moved_(model.bone_names.size()) {}

    void run() {
        if (model_.skin)
            check_skin();
        for (size_t i = 0; i < model_.piece_skins.size(); ++i)
            check_piece_skin(i);
        if (!any_stream_)
            return;
        check_unskinned();
        check_idle();
    }

  private:
    void check_skin();
    void check_skin_stream(const kim_skin_stream_t &stream, size_t number);
    void check_piece_skin(size_t number);
    void check_item(std::span<const skin_weight_t> weights, uint32_t item);
    bool is_nothing_left(std::span<const skin_weight_t> weights);
    void check_vertex(uint32_t piece, uint32_t vertex, uint32_t item);
    void report(token_kind_t paragraph, size_t number, size_t items);
    void check_unskinned();
    void check_idle();

    struct tallies_t {
        tally_t bone, zero, sum, negative, many, heavy, beyond, repeated, stray;
        uint32_t first_bone = 0;
        float first_sum = 0, most_lost = 0;
    };

    const kim_t &model_;
    const source_map_t &map_;
    lint_findings_t &findings_;
    vertex_table_t table_;
    std::vector<bool> moved_; // bones
    tallies_t found_;         // in the present stream
    bool any_stream_ = false;
    array_dyn_t<influence_pair_t> pairs_;
};

void skin_check_t::check_skin() {
    findings_.add(code_t::skin_passes, map_.paragraph("SKIN"_kw, 0), "the skin is one for the whole model");
    const auto &streams = model_.skin->streams;
    const auto positions = std::find_if(streams.begin(), streams.end(), [](const kim_skin_stream_t *stream) {
        return stream->tag.view() == position_tag;
    });
    if (positions == streams.end())
        return findings_.add(code_t::skin_stream, map_.paragraph("SKIN"_kw, 0),
                             "no skin stream has the tag _POSITION");
    check_skin_stream(**positions, static_cast<size_t>(positions - streams.begin()));
}

void skin_check_t::check_skin_stream(const kim_skin_stream_t &stream, size_t number) {
    any_stream_ = true;
    found_ = {};
    tally_t short_items;
    uint64_t weights = 0, clones = 0;
    const auto items = stream.items();
    for (uint32_t i = 0; i < items.size(); ++i) {
        const kim_skinitem_t &item = items[i];
        weights += item.weights_added;
        clones += item.clones_added;
        if (item.weights_added != item.weight_count || item.clones_added != item.clone_count)
            short_items.add(i);
        check_item(stream.weights_of(item), i);
        for (const skin_clone_t &clone : stream.clones_of(item))
            check_vertex(clone.piece, clone.vertex, i);
    }
    report("SKINSTREAM"_kw, number, items.size());
    const auto compare = [&](std::string_view name, token_kind_t field, uint64_t declared, uint64_t counted) {
        if (declared != counted)
            findings_.add(code_t::count_unchecked, map_.field("SKINSTREAM"_kw, number, field),
                          [&] { return concat(name, " is ", declared, ", found ", counted); });
    };
    compare("ItemCount", "ITEMCOUNT"_kw, stream.capacity(), items.size());
    compare("TotalWeightCount", "TOTALWEIGHTCOUNT"_kw, stream.total_weight_count(), weights);
    compare("TotalCloneCount", "TOTALCLONECOUNT"_kw, stream.total_clone_count(), clones);
    if (short_items.count != 0)
        findings_.add(code_t::count_unchecked, map_.item("SKINSTREAM"_kw, number, short_items.first), [&] {
            return concat(short_items.count, " of ", counted_t{items.size(), "skin item"},
                          " declare more weights or clones than they have, this one the first");
        });
}

void skin_check_t::check_piece_skin(size_t number) {
    any_stream_ = true;
    found_ = {};
    const kim_piece_skin_t &skin = *model_.piece_skins[number];
    for (uint32_t i = 0; i < skin.items.size(); ++i) {
        const kim_piece_skin_item_t &item = skin.items[i];
        check_item(skin.weights.items().subspan(item.first_weight, item.weight_count), i);
        for (const uint32_t vertex :
             skin.vertex_indices.items().subspan(item.first_vertex_index, item.vertex_index_count))
            check_vertex(skin.piece_index, vertex, i);
    }
    report("PIECESKINSTREAM"_kw, number, skin.items.size());
}

void skin_check_t::check_item(std::span<const skin_weight_t> weights, uint32_t item) {
    float sum = 0, least = 1, largest = 0;
    for (const skin_weight_t &weight : weights) {
        if (weight.bone < moved_.size())
            moved_[weight.bone] = true;
        else {
            found_.first_bone = found_.bone.count == 0 ? weight.bone : found_.first_bone;
            found_.bone.add(item);
        }
        sum += weight.weight;
        least = std::min(least, weight.weight);
        largest = std::max(largest, std::abs(weight.weight));
    }
    if (!(std::abs(sum - 1) <= sum_tolerance)) {
        found_.first_sum = found_.sum.count == 0 ? sum : found_.first_sum;
        found_.sum.add(item);
    }
    if (largest < small_weight && is_nothing_left(weights))
        found_.zero.add(item);
    if (least < 0)
        found_.negative.add(item);
    if (weights.size() <= kmg_max_influences)
        return;
    std::vector<float> sorted;
    for (const skin_weight_t &weight : weights)
        sorted.push_back(weight.weight);
    std::sort(sorted.begin(), sorted.end(), std::greater());
    const float lost = std::accumulate(sorted.begin() + kmg_max_influences, sorted.end(), 0.0f);
    if (lost > 0) {
        found_.many.add(item);
        found_.most_lost = std::max(found_.most_lost, lost);
    }
    if (weights.size() > suspicious_weights)
        found_.heavy.add(item);
}

// By the writer's own arithmetic, which may take any bone here.
bool skin_check_t::is_nothing_left(std::span<const skin_weight_t> weights) {
    const std::array<uint8_t, 1> any_bone{};
    influence_set_t set;
    array_dyn_t<skin_weight_t> of_any_bone;
    for (const skin_weight_t &weight : weights)
        of_any_bone.push_back({0, weight.weight});
    return quantise_influences(of_any_bone.items(), any_bone, pairs_, set) == influence_quality_t::none;
}

void skin_check_t::check_vertex(uint32_t piece, uint32_t vertex, uint32_t item) {
    switch (table_.add(piece, vertex)) {
    case vertex_table_t::result_t::added:
        return;
    case vertex_table_t::result_t::repeated:
        return found_.repeated.add(item);
    case vertex_table_t::result_t::beyond:
        return found_.beyond.add(item);
    case vertex_table_t::result_t::no_piece:
        return found_.stray.add(item);
    }
}

void skin_check_t::report(token_kind_t paragraph, size_t number, size_t items) {
    const auto tell = [&](code_t code, const tally_t &found, auto &&what) {
        if (found.count != 0)
            findings_.add(code, map_.item(paragraph, number, found.first), [&] {
                return concat(found.count, " of ", counted_t{items, "skin item"}, " ", what(),
                              ", this one the first");
            });
    };
    tell(code_t::skin_bone, found_.bone, [&] {
        return concat("use a bone beyond the model's ", model_.bone_names.size(), " (", found_.first_bone,
                      ")");
    });
    tell(code_t::weights_zero, found_.zero, [] { return "have no weight of 1/510 or more"; });
    tell(code_t::weights_sum, found_.sum, [&] {
        return concat("have weights that sum to another value than 1 (", rounded_t{found_.first_sum, 4}, ")");
    });
    tell(code_t::weight_negative, found_.negative, [] { return "have a negative weight"; });
    tell(code_t::influences, found_.many, [&] {
        return concat("have more than ", kmg_max_influences, " bones; up to ", rounded_t{found_.most_lost, 3},
                      " of the weight is lost");
    });
    tell(code_t::influences, found_.heavy,
         [] { return "have more than 16 bones, which looks like a mistake"; });
    tell(code_t::skin_vertex, found_.beyond, [] { return "name a vertex beyond their piece's"; });
    tell(code_t::skin_vertex, found_.stray, [] { return "name a piece whose Index no piece has"; });
    tell(code_t::skin_vertex_repeated, found_.repeated,
         [] { return "name a vertex that an earlier one has named"; });
}

void skin_check_t::check_unskinned() {
    for (size_t i = 0; i < model_.pieces.size(); ++i) {
        const tally_t unskinned = table_.unskinned_of(*model_.pieces[i]);
        if (unskinned.count != 0)
            findings_.add(code_t::skin_vertex, map_.paragraph("PIECE"_kw, i), [&] {
                return concat(unskinned.count, " of ",
                              counted_t{model_.pieces[i]->vertex_count, "vertex", "vertices"}, " of piece ",
                              i, " are in no skin item, the first is ", unskinned.first);
            });
    }
}

void skin_check_t::check_idle() {
    std::vector<uint32_t> idle;
    for (uint32_t i = 0; i < moved_.size(); ++i)
        if (!moved_[i])
            idle.push_back(i);
    if (!idle.empty())
        findings_.add(code_t::bone_idle, map_.paragraph("BONES"_kw, 0), [&] {
            return concat(idle.size(), " of ", counted_t{moved_.size(), "bone"},
                          " move no vertex: ", list_text(idle));
        });
}

// The model's bones against the skeleton's, by name.
void check_bones(const kim_t &model, const kis_t &skeleton, lint_context_t &context) {
    const auto bones = skeleton.bones->bones();
    if (bones.size() != model.bone_names.size())
        context.findings.add(code_t::skeleton_bones, context.map.field("GLOBAL"_kw, 0, "BONECOUNT"_kw), [&] {
            return concat("the model has ", counted_t{model.bone_names.size(), "bone"}, ", the skeleton ",
                          quoted(model.global->skeleton.view()), " has ", bones.size());
        });
    for (uint32_t i = 0; i < model.bone_names.size(); ++i)
        if (const std::string_view name = model.bone_names[i].view(); !skeleton.bones->find(name))
            context.findings.add(code_t::bone_unmatched, context.map.item("BONES"_kw, 0, i), [&] {
                return concat(
                    "bone ", i, " ", quoted(name), " is not in the skeleton",
                    i < bones.size() ? concat(", whose bone ", i, " is ", quoted(bones[i].name.view())) : "");
            });
}

} // namespace

void check_skin(const kim_t &model, const kis_t *skeleton, lint_context_t &context) {
    if (model.bone_names.size() > kmg_max_bones)
        context.findings.add(code_t::bones_many, context.map.field("GLOBAL"_kw, 0, "BONECOUNT"_kw), [&] {
            return concat("the model has ", model.bone_names.size(), " bones, at most ", kmg_max_bones,
                          " are possible");
        });
    if (skeleton)
        check_bones(model, *skeleton, context);
    skin_check_t(model, context).run();
}

} // namespace kestrel
