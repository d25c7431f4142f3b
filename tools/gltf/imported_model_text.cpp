#include "tools/gltf/imported_model_text.h"

#include "tools/kim_text/model_text.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace kestrel {

namespace {

constexpr const char *source_name = "gltf2kim";

// Vertices of equal position and weights.
struct skin_item_t {
    kmg_float3_t position;
    uint32_t set;
    std::vector<uint32_t> vertices;
};

// In the order of their first vertices.
std::vector<skin_item_t> skin_items(const model_piece_t &piece) {
    std::vector<uint32_t> order(piece.vertex_count());
    std::iota(order.begin(), order.end(), 0u);
    const auto key = [&](uint32_t vertex) {
        return std::tie(piece.influence_sets[vertex], piece.positions[vertex]);
    };
    std::sort(order.begin(), order.end(),
              [&](uint32_t a, uint32_t b) { return std::pair(key(a), a) < std::pair(key(b), b); });
    std::vector<skin_item_t> items;
    for (size_t i = 0; i < order.size(); ++i) {
        if (i == 0 || key(order[i]) != key(order[i - 1]))
            items.push_back({piece.positions[order[i]], piece.influence_sets[order[i]], {}});
        items.back().vertices.push_back(order[i]);
    }
    std::sort(items.begin(), items.end(), [](const skin_item_t &a, const skin_item_t &b) {
        return a.vertices.front() < b.vertices.front();
    });
    return items;
}

class model_writer_t {
  public:
    model_writer_t(const imported_model_t &model, const model_text_style_t &style, text_writer_t &out)
        : model_(model), style_(style), text_(out, style.numbers) {}

    void write() {
        text_.header("Model", 5, source_name, style_.name);
        global();
        for (const model_material_t &material : model_.materials)
            text_.material(material.alias, material.effect);
        for (size_t i = 0; i < model_.pieces.size(); ++i)
            piece(static_cast<uint32_t>(i));
        for (const model_part_t &part : model_.parts)
            text_.part(part.name, part.pieces, part.locators);
        for (size_t i = 0; i < model_.locators.size(); ++i) {
            const model_locator_t &locator = model_.locators[i];
            text_.locator({locator.name, locator.hookup, static_cast<uint32_t>(i), locator.position,
                           locator.rotation, locator.scale});
        }
        if (!model_.bones.empty())
            skins();
    }

  private:
    void global() {
        model_counts_t counts{.materials = model_.materials.size(),
                              .pieces = model_.pieces.size(),
                              .parts = model_.parts.size(),
                              .bones = model_.bones.size(),
                              .locators = model_.locators.size(),
                              .piece_skins = model_.bones.empty() ? 0 : model_.pieces.size()};
        for (const model_piece_t &piece : model_.pieces) {
            counts.vertices += piece.vertex_count();
            counts.triangles += piece.triangles.size();
        }
        text_.global(counts, model_.bones.empty() ? std::string_view() : style_.skeleton);
    }

    template <class T>
    void stream(std::string_view format, std::string_view tag, const std::vector<T> &items,
                std::span<const std::string_view> aliases = {}) {
        if (items.empty())
            return;
        text_.begin_stream(format, tag, aliases);
        for (const T &item : items)
            text_.item(item);
        text_.end_stream();
    }

    void piece(uint32_t number) {
        const model_piece_t &piece = model_.pieces[number];
        const size_t streams = 3 + !piece.tangents.empty() + !piece.factors.empty() + piece.uvs.size();
        text_.begin_piece(number, piece.material, piece.vertex_count(), piece.triangles.size(),
                          static_cast<uint32_t>(streams));
        stream("FLOAT3", "_POSITION", piece.positions);
        stream("FLOAT3", "_NORMAL", piece.normals);
        stream("FLOAT4", "_TANGENT", piece.tangents);
        stream("FLOAT4", "_RGBA", piece.colours);
        stream("FLOAT4", "_FACTOR", piece.factors);
        for (size_t channel = 0; channel < piece.uvs.size(); ++channel)
            uv_stream(channel, piece.uvs[channel]);
        text_.begin_triangles();
        for (const auto &[a, b, c] : piece.triangles)
            text_.triangle(a, b, c);
        text_.end_triangles();
        text_.end_piece();
    }

    // Without aliases a channel feeds the slot of its own number. One that feeds none has an alias that means
    // nothing.
    void uv_stream(size_t channel, const uv_channel_t &uv) {
        static constexpr std::string_view tags[] = {"_UV0", "_UV1", "_UV2", "_UV3",
                                                    "_UV4", "_UV5", "_UV6", "_UV7"};
        static constexpr std::string_view slots[] = {"_TEXCOORD0", "_TEXCOORD1", "_TEXCOORD2", "_TEXCOORD3",
                                                     "_TEXCOORD4", "_TEXCOORD5", "_TEXCOORD6", "_TEXCOORD7"};
        std::vector<std::string_view> aliases;
        if (uv.slots != 1u << channel)
            for (size_t slot = 0; slot < std::size(slots); ++slot)
                if (uv.slots >> slot & 1)
                    aliases.push_back(slots[slot]);
        if (uv.slots == 0)
            aliases.push_back("_UNUSED");
        stream("FLOAT2", tags[channel], uv.values, aliases);
    }

    void skins() {
        text_.begin_bones();
        for (const model_bone_t &bone : model_.bones)
            text_.bone_name(bone.name);
        text_.end_bones();
        for (size_t i = 0; i < model_.pieces.size(); ++i)
            piece_skin(static_cast<uint32_t>(i));
    }

    void piece_skin(uint32_t number) {
        const model_piece_t &piece = model_.pieces[number];
        const auto items = skin_items(piece);
        size_t weights = 0;
        for (const skin_item_t &item : items)
            weights += piece.sets[item.set].size();
        text_.begin_piece_skin(number, items.size(), weights, piece.vertex_count());
        std::vector<weight_text_t> pairs;
        for (const skin_item_t &item : items) {
            pairs.clear();
            for (const influence_t &influence : piece.sets[item.set])
                pairs.push_back({influence.bone, influence.weight});
            text_.piece_skin_item(item.position, pairs, item.vertices);
        }
        text_.end_skin();
    }

    const imported_model_t &model_;
    const model_text_style_t &style_;
    model_text_t text_;
};

} // namespace

void write_model_text(const imported_model_t &model, const model_text_style_t &style, text_writer_t &out) {
    model_writer_t(model, style, out).write();
}

void write_skeleton_text(const imported_model_t &model, const model_text_style_t &style, text_writer_t &out) {
    model_text_t text(out, style.numbers);
    text.header("Skeleton", 1, source_name, style.name);
    text.begin_skeleton(model.bones.size());
    for (const model_bone_t &bone : model.bones)
        text.bone(bone.name, bone.parent ? model.bones[*bone.parent].name : "", bone.matrix);
    text.end_skeleton();
}

} // namespace kestrel
