#include "tools/kmg/kmg_json.h"

#include "tests/kmg/kmg_builder.h"
#include "tools/kmg/kmg_check.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace kestrel {

using json_t = nlohmann::json;

// The document of what is added.
static std::string document_of(const std::function<void(kmg_json_t &)> &add) {
    std::string text;
    const text_sink_t sink = [&](std::string_view part) { text += part; };
    kmg_json_t document(sink);
    add(document);
    document.end();
    return text;
}

static std::string file_text(const bytes_t &bytes) {
    return document_of(
        [&](kmg_json_t &document) { document.add_file("a.kmg", kmg_reader_t::open(bytes).value()); });
}

static json_t file_json(const bytes_t &bytes) {
    return json_t::parse(file_text(bytes)).at("files").at(0);
}

// Every field under its name, numbers as they are.
template <class R>
static void expect_record(const json_t &json, const R &record) {
    R::visit(record, [&](size_t, const std::string &name, const auto &member) {
        ASSERT_TRUE(json.contains(name)) << name;
        using member_t = std::remove_cvref_t<decltype(member)>;
        if constexpr (!std::is_same_v<member_t, uint64_t>) {
            EXPECT_EQ(json.at(name).get<member_t>(), member) << name;
        }
    });
}

TEST(kmg_json, gives_every_field_of_every_record) {
    kmg_source_t source = small_source();
    source.bones[0].matrix[3] = 0.1f;
    source.pieces[0].sphere.radius = 3.4028235e38f;
    const bytes_t bytes = build(source);
    const auto file = kmg_reader_t::open(bytes).value();
    const json_t json = file_json(bytes);
    expect_record(json.at("header"), file.header());
    EXPECT_EQ(json.at("header").at("skeleton_hash"), "0x0123456789ABCDEF");
    for (size_t i = 0; i < 2; ++i) {
        expect_record(json.at("bones").at(i), file.bones()[i]);
        expect_record(json.at("parts").at(i), file.parts()[i]);
        expect_record(json.at("locators").at(i), file.locators()[i]);
        expect_record(json.at("pieces").at(i), file.pieces()[i]);
    }
    EXPECT_EQ(json.at("bones").at(1).at("name"), "head");
    EXPECT_EQ(json.at("locators").at(1).at("hookup_text"), "slot/a");
    EXPECT_EQ(json.at("strings"), json_t::parse(R"([{"offset": 0, "text": "slot/a"}])"));
    // The hat's vertex: position 12, normal 12, tangent 16, colour 4, factor 4, two UV channels, bones,
    // weights.
    EXPECT_EQ(
        json.at("pieces").at(1).at("vertex_fields"),
        json_t::parse(R"({"position": 0, "normal": 12, "tangent": 24, "colour": 40, "factor": 44, "uv0": 48,
                                "uv1": 56, "bones": 64, "weights": 68})"));
    EXPECT_EQ(json.at("pieces").at(1).at("texture_coordinate_channels"),
              json_t::parse("[0, 1, null, null, null, null, null, null]"));
}

TEST(kmg_json, writes_reals_as_short_as_single_precision_allows) {
    kmg_source_t source = small_source();
    source.locators[0].position = {0.1f, 1e-7f, std::numeric_limits<float>::quiet_NaN()};
    const bytes_t bytes = build(source);
    const std::string text = file_text(bytes);
    EXPECT_NE(text.find("[0.1,1e-07,null]"), std::string::npos) << text;
    EXPECT_EQ(text.find("0.10000000149"), std::string::npos);
}

TEST(kmg_json, survives_texts_that_are_no_utf8) {
    kmg_source_t source = small_source();
    source.pool = std::string("\xFF\"\x01\xC3(\0", 6);
    EXPECT_EQ(file_json(build(source)).at("strings").at(0).at("text"), "\uFFFD\"\x01\uFFFD(");
}

TEST(kmg_json, gives_findings_and_failures) {
    const bytes_t good = build(small_source());
    const json_t json = json_t::parse(document_of([&](kmg_json_t &document) {
        document.add_findings(
            "a.kmg", check_kmg(planted(good, byte_of(good, kmg_record_kind_t::bone, 1, "sign"), 0.0f)));
        document.add_failure("b.kmg", "gone");
    }));
    EXPECT_EQ(json.at("kmginfo"), 1);
    const json_t &found = json.at("files").at(0);
    EXPECT_EQ(found.at("sound"), false);
    const json_t &finding = found.at("findings").at(0);
    EXPECT_EQ(finding.at("severity"), "error");
    EXPECT_EQ(finding.at("code"), "bone_sign");
    // 112 + 200 + 192
    EXPECT_EQ(finding.at("place"), json_t::parse(R"({"record": "bone", "index": 1, "byte": 504})"));
    EXPECT_EQ(json.at("files").at(1), json_t::parse(R"({"file": "b.kmg", "failure": "gone"})"));
}

} // namespace kestrel
