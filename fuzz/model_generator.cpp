#include "fuzz/model_generator.h"

#include <vector>

namespace kestrel {

namespace {

enum class skin_kind_t { none, whole, by_piece };

struct piece_t {
    uint32_t vertices;
    uint32_t triangles;
};

class generator_t {
  public:
    explicit generator_t(choices_t &choices) : choices_(choices) {}

    generated_model_t make() {
        plan();
        global();
        for (uint32_t i = 0; i < materials_; ++i)
            material();
        for (uint32_t i = 0; i < pieces_.size(); ++i)
            piece(i);
        for (uint32_t i = 0; i < parts_; ++i)
            part(i);
        for (uint32_t i = 0; i < locators_; ++i)
            locator(i);
        if (skin_ != skin_kind_t::none)
            bones();
        if (skin_ == skin_kind_t::whole)
            whole_skin();
        if (skin_ == skin_kind_t::by_piece)
            for (uint32_t i = 0; i < pieces_.size(); ++i)
                piece_skin(i);
        return {std::move(text_), skin_ == skin_kind_t::none ? "" : skeleton()};
    }

  private:
    static std::string number(uint32_t value) { return " " + std::to_string(value); }
    static std::string quoted(const std::string &text) { return " \"" + text + "\""; }
    void field(const char *keyword, const std::string &value) { text_ += keyword + (":" + value) + "\n"; }
    void count(const char *keyword, size_t value) {
        field(keyword, number(static_cast<uint32_t>(value) + choices_.rarely()));
    }

    // Few different numbers, so that equal ones meet; and some that arithmetic stumbles over.
    std::string real() {
        static constexpr const char *usual[] = {"0.0", "1.0", "2.0", "0.5", "-1.0", "0.25"};
        static constexpr const char *odd[] = {"-0.0",      "1e-45", "3.4e38",     "-3.4e38",  "1e39",
                                              "&00800000", "1e-6",  "16777216.0", "$000080bf"};
        return choices_.rarely() ? choices_.one_of(odd) : choices_.one_of(usual);
    }
    std::string reals(uint32_t count) {
        std::string tuple = " (";
        while (count-- != 0)
            tuple += " " + real();
        return tuple + " )";
    }

    void plan() {
        skin_ = choices_.one_of({skin_kind_t::none, skin_kind_t::by_piece, skin_kind_t::whole});
        bone_count_ = choices_.between(1, 4);
        materials_ = choices_.between(1, 2);
        pieces_.resize(choices_.between(1, 4));
        for (piece_t &piece : pieces_)
            piece = {choices_.rarely() ? 0 : choices_.between(1, 12), choices_.below(12)};
        parts_ = choices_.between(1, 3);
        locators_ = choices_.below(4);
    }

    void global() {
        uint32_t vertices = 0, triangles = 0;
        for (const piece_t &piece : pieces_) {
            vertices += piece.vertices;
            triangles += piece.triangles;
        }
        text_ = "Header { FormatVersion: 5 Source: \"\" Type: \"Model\" Name: \"g\" }\nGlobal {\n";
        count("VertexCount", vertices);
        count("TriangleCount", triangles);
        count("MaterialCount", materials_);
        count("PieceCount", pieces_.size());
        count("PartCount", parts_);
        count("BoneCount", skin_ == skin_kind_t::none ? 0 : bone_count_);
        count("LocatorCount", locators_);
        field("Skeleton", quoted("s.kis"));
        if (skin_ == skin_kind_t::by_piece)
            count("PieceSkinCount", pieces_.size());
        text_ += "}\n";
    }

    void material() {
        static const std::string effects[] = {"rvk2.dif", "rvk2.leaves.oak", "rvk2.dif.billb.grass"};
        text_ += "Material {\n";
        field("Alias", quoted("m"));
        field("Effect", quoted(choices_.one_of(effects)));
        text_ += "}\n";
    }

    struct channel_t {
        const char *format;
        const char *tag;
        uint32_t components;
    };

    // One of few layouts, so that pieces can be joined.
    std::vector<channel_t> layout() {
        static constexpr channel_t optional[] = {
            {"FLOAT2", "_UV0", 2},    {"FLOAT2", "_UV1", 2}, {"FLOAT4", "_TANGENT", 4},
            {"FLOAT4", "_FACTOR", 4}, {"INT", "_OTHER", 0},  {"FLOAT3", "_POSITION", 3},
        };
        std::vector<channel_t> channels = {
            {"FLOAT3", "_POSITION", 3}, {"FLOAT3", "_NORMAL", 3}, {"FLOAT4", "_RGBA", 4}};
        static constexpr uint32_t layouts[] = {0, 1, 3, 4, 8, 15, 16, 31, 63};
        const uint32_t chosen = choices_.one_of(layouts);
        for (size_t i = 0; i < std::size(optional); ++i)
            if (chosen >> i & 1)
                channels.push_back(optional[i]);
        if (choices_.rarely())
            channels.erase(channels.begin() + choices_.below(3));
        return channels;
    }

    void stream(const channel_t &channel, uint32_t vertices) {
        static const std::string aliases[] = {"", " \"_TEXCOORD0\"", " \"_TEXCOORD3\" \"_UV7\"", " \"x\""};
        static constexpr uint32_t alias_counts[] = {0, 1, 2, 1};
        text_ += "Stream {\n";
        field("Format", std::string(" ") + channel.format);
        field("Tag", quoted(channel.tag));
        if (channel.components == 2) {
            const uint32_t chosen = choices_.below(4);
            count("AliasCount", alias_counts[chosen]);
            field("Aliases", aliases[chosen]);
        }
        for (uint32_t i = 0; i < vertices; ++i)
            text_ +=
                number(i) +
                (channel.components ? reals(channel.components) : " (" + number(choices_.below(3)) + " )") +
                "\n";
        text_ += "}\n";
    }

    void piece(uint32_t index) {
        const piece_t &piece = pieces_[index];
        const auto channels = layout();
        text_ += "Piece {\n";
        field("Index", number(choices_.rarely() ? choices_.below(4) : index));
        field("Material", number(choices_.rarely() ? 9 : choices_.below(materials_)));
        count("VertexCount", piece.vertices);
        count("TriangleCount", piece.triangles);
        count("StreamCount", channels.size());
        for (const channel_t &channel : channels)
            stream(channel, piece.vertices);
        text_ += "Triangles {\n";
        for (uint32_t i = 0; i < piece.triangles; ++i) {
            text_ += number(i) + " (";
            for (int corner = 0; corner < 3; ++corner)
                text_ += number(choices_.rarely() ? 12 : choices_.below(piece.vertices));
            text_ += " )\n";
        }
        text_ += "}\n}\n";
    }

    // Every piece and locator belongs to the part of its number, or with luck to another one.
    void part(uint32_t index) {
        std::string pieces, locators;
        uint32_t piece_count = 0, locator_count = 0;
        for (uint32_t i = 0; i < pieces_.size(); ++i) {
            if (i % parts_ == index || choices_.rarely()) {
                pieces += number(choices_.rarely() ? choices_.below(5) : i);
                ++piece_count;
            }
        }
        for (uint32_t i = 0; i < locators_; ++i) {
            if (i % parts_ == index || choices_.rarely()) {
                locators += number(choices_.rarely() ? choices_.below(5) : i);
                ++locator_count;
            }
        }
        text_ += "Part {\n";
        field("Name", quoted(choices_.rarely() ? "not a token" : "part" + std::to_string(index)));
        count("PieceCount", piece_count);
        count("LocatorCount", locator_count);
        field("Pieces", pieces);
        field("Locators", locators);
        text_ += "}\n";
    }

    void locator(uint32_t index) {
        static const std::string hookups[] = {"", "hook", "other"};
        text_ += "Locator {\n";
        field("Name", quoted("loc" + std::to_string(index)));
        if (const uint32_t chosen = choices_.below(4))
            field("Hookup", quoted(hookups[chosen - 1]));
        field("Index", number(index));
        field("Position", reals(3));
        field("Rotation", reals(4));
        field("Scale", choices_.rarely() ? reals(3) : " ( 1.0 1.0 1.0 )");
        text_ += "}\n";
    }

    std::string bone_name(uint32_t index) {
        static const std::string names[] = {"root", "arm", "Hips.L", "x"};
        return names[choices_.rarely() ? choices_.below(4) : index];
    }

    void bones() {
        text_ += "Bones {\n";
        for (uint32_t i = 0; i < bone_count_; ++i)
            text_ += number(i) + " (" + quoted(bone_name(i)) + " )\n";
        text_ += "}\n";
    }

    struct item_t {
        std::string weights;
        uint32_t weight_count;
    };
    item_t weights() {
        static constexpr const char *usual[] = {" 1.0", " 0.5", " 0.25", " 0.1", " 1", " 0.3"};
        static constexpr const char *odd[] = {" 0.0", " -1.0", " 0.001", " 1e30", " 255", " 1e39"};
        item_t item{"", choices_.rarely() ? 17 : choices_.between(1, 6)};
        for (uint32_t i = 0; i < item.weight_count; ++i)
            item.weights += number(choices_.rarely() ? 4 : choices_.below(bone_count_)) +
                            (choices_.rarely() ? choices_.one_of(odd) : choices_.one_of(usual));
        return item;
    }

    // Deals the vertices out to items; gives for each item the vertices, as numbers.
    std::vector<std::vector<uint32_t>> deal(uint32_t vertices, uint32_t items) {
        std::vector<std::vector<uint32_t>> dealt(items);
        for (uint32_t vertex = 0; vertex < vertices; ++vertex)
            if (!choices_.rarely())
                dealt[vertex < items ? vertex : choices_.below(items)].push_back(vertex);
        return dealt;
    }

    void whole_skin() {
        std::string items;
        size_t item_count = 0, weight_count = 0, clone_count = 0;
        for (uint32_t p = 0; p < pieces_.size(); ++p) {
            for (const auto &vertices : deal(pieces_[p].vertices, choices_.between(1, 4))) {
                const item_t item = weights();
                items += number(static_cast<uint32_t>(item_count++)) + " (" + reals(3) +
                         " Weights:" + number(item.weight_count) + item.weights +
                         " Clones:" + number(static_cast<uint32_t>(vertices.size()));
                for (const uint32_t vertex : vertices)
                    items += number(p) + number(vertex);
                items += " )\n";
                weight_count += item.weight_count;
                clone_count += vertices.size();
            }
        }
        text_ += "Skin {\nStreamCount: 1\nSkinStream {\nFormat: FLOAT3\n";
        field("Tag", quoted(choices_.rarely() ? "_NORMAL" : "_POSITION"));
        count("ItemCount", item_count);
        count("TotalWeightCount", weight_count);
        count("TotalCloneCount", clone_count);
        text_ += items + "}\n}\n";
    }

    void piece_skin(uint32_t index) {
        std::string items;
        size_t weight_count = 0, item_count = 0, vertex_count = 0;
        for (const auto &vertices : deal(pieces_[index].vertices, choices_.between(1, 4))) {
            if (vertices.empty())
                continue;
            const item_t item = weights();
            items += number(static_cast<uint32_t>(item_count++)) + " (" + reals(3) +
                     " Weights:" + number(item.weight_count) + item.weights +
                     " VertexIndices:" + number(static_cast<uint32_t>(vertices.size()));
            for (const uint32_t vertex : vertices)
                items += number(vertex);
            items += " )\n";
            weight_count += item.weight_count;
            vertex_count += vertices.size();
        }
        text_ += "PieceSkin {\n";
        field("Piece", number(index));
        text_ += "StreamCount: 1\nPieceSkinStream {\nFormat: FLOAT3\nTag: \"_POSITION\"\n";
        count("ItemCount", item_count);
        count("TotalWeightCount", weight_count);
        count("TotalVertexIndexCount", vertex_count);
        text_ += items + "}\n}\n";
    }

    std::string skeleton() {
        std::string bones;
        for (uint32_t i = 0; i < bone_count_; ++i) {
            const std::string name = bone_name(i);
            const std::string parent = i == 0 ? "" : bone_name(choices_.below(i));
            bones += number(i) + " ( Name:" + quoted(name) + " Parent:" + quoted(parent) +
                     " Matrix:" + matrix() + " )\n";
        }
        return "Header { FormatVersion: 1 Source: \"\" Type: \"Skeleton\" Name: \"s\" }\nGlobal { "
               "BoneCount:" +
               number(bone_count_) + " }\nBones {\n" + bones + "}\n";
    }

    std::string matrix() {
        std::string tuple = " (";
        for (uint32_t i = 0; i < 16; ++i)
            tuple += " " + (i % 5 == 0 ? choices_.rarely() ? real() : "1.0" : i % 4 == 3 ? "0.0" : real());
        return tuple + " )";
    }

    choices_t &choices_;
    std::string text_;
    skin_kind_t skin_ = skin_kind_t::none;
    uint32_t bone_count_ = 0;
    uint32_t materials_ = 0;
    std::vector<piece_t> pieces_;
    uint32_t parts_ = 0;
    uint32_t locators_ = 0;
};

} // namespace

generated_model_t generate_model(choices_t &choices) {
    return generator_t(choices).make();
}

} // namespace kestrel
