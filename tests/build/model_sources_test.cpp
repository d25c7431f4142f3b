#include "tools/build/model_sources.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(model_sources, skeleton_in_the_first_bytes) {
    struct {
        const char *text;
        bool known;
        const char *name;
    } const cases[] = {
        {"Header { Name: \"Skeleton\" } # Global { Skeleton: \"no\" }\nGLOBAL { BoneCount: 1 skeleton : "
         "\"a.kis\" }",
         true, "a.kis"},
        {"Header { } Global { Skeleton: \"../skel/b c.kis\" ", true, "../skel/b c.kis"},
        {"Header { } Global { Skeleton: \"\" }", true, ""},
        {"Header { } Global { VertexCount: 3 } Material { Skeleton: \"x\" }", true, ""},
        {"Header { } Global { Skeleton: \"cut", false, ""},
        {"Header { } Global { VertexCount: 3", false, ""},
        {"", false, ""},
    };
    for (const auto &each : cases) {
        std::string name;
        ASSERT_EQ(find_skeleton_name(each.text, name), each.known) << each.text;
        if (each.known) {
            EXPECT_EQ(name, each.name) << each.text;
        }
    }
}

TEST(model_sources, records) {
    const auto record = parse_record("version:3\r\n/a b.kim\r\n/a  c.kis\r\n");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->version, "3");
    EXPECT_EQ(record_size(*record), 32u);
    EXPECT_EQ(record->sources, (std::vector<std::string>{"/a b.kim", "/a  c.kis"}));
    for (const char *broken :
         {"", "version:3\r\n", "version:3\r\n/a.kim", "/a.kim\r\n", "version:3\r\n/a.kim\r\n/b"})
        EXPECT_FALSE(parse_record(broken)) << broken;
}

} // namespace kestrel
