#include "kcore/units/unit.h"

#include "kcore/core/core.h"
#include "kcore/strings/string_local.h"
#include "kcore/units/conversion_units.h"
#include "kcore/units/unit_attribute_operations.h"
#include "kcore/units/unit_deletion.h"
#include "kcore/units/unit_names.h"
#include "kcore/units/unit_registry.h"
#include "kcore/units/unit_resource_tie.h"
#include "tests/kcore/units/sample_units.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <thread>

namespace kestrel {

namespace {

// A new unit of class U; goes with the deletion list.
template <class U>
U *make(uint32_t pool = 0) {
    unit_t *const unit = U::unit_class.create(pool);
    return static_cast<U *>(unit);
}

std::string name_of(const unit_t &unit) {
    string_dyn_t text;
    unit.get_name_text(text);
    return text.c_str();
}

// Different bytes in every value; of the valid ones for a flag.
template <class T>
void fill(T &value, int seed) {
    std::memset(static_cast<void *>(&value), seed, sizeof value);
}
void fill(bool &value, int) {
    value = true;
}
void fill(string_dyn_t &value, int seed) {
    value.assign_formatted("text %d", seed);
}
void fill(owned_unit_t &value, int seed) {
    value.adopt(make<leaf_u>(1));
    unit_cast<leaf_u>(value.get())->number = seed;
}
template <uint32_t code>
void fill(basic_unit_link_t<code> &value, int seed) {
    static owned_unit_t elsewhere[256];
    if (!elsewhere[seed].get())
        fill(elsewhere[seed], seed);
    value.link_to(elsewhere[seed].get());
}
void fill(resource_tie_t &, int) {} // nobody but the tie knows how
void fill(array_dyn_t<resource_tie_t> &, int) {}
template <class T>
void fill(array_dyn_t<T> &value, int seed) {
    for (int i = 0; i < 3; ++i) {
        value.emplace_back();
        fill(value.back(), seed + i);
    }
}

void fill_all(every_kind_u &unit) {
    int seed = 1;
#define FILL(type, name, ...) fill(unit.name, seed++);
    EVERY_KIND_U_ATTRIBUTES(FILL)
#undef FILL
}

template <class T>
bool same(const T &a, const T &b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}
bool same(const string_dyn_t &a, const string_dyn_t &b) {
    return a.view() == b.view() && a.c_str() != b.c_str();
}
bool same(const owned_unit_t &a, const owned_unit_t &b) {
    return a.get() != b.get() && a.get()->is_owned() && a.get()->reference_count() == 1 &&
           a.get()->pool() == b.get()->pool() &&
           unit_cast<leaf_u>(a.get())->number == unit_cast<leaf_u>(b.get())->number;
}
template <uint32_t code>
bool same(const basic_unit_link_t<code> &a, const basic_unit_link_t<code> &b) {
    return a.get() && a.get() == b.get() && a.get()->reference_count() > 2;
}
template <class T>
bool same(const array_dyn_t<T> &a, const array_dyn_t<T> &b) {
    bool all = a.size() == b.size();
    for (size_t i = 0; all && i < a.size(); ++i)
        all = same(a[i], b[i]);
    return all;
}

template <class T>
bool is_empty(const array_dyn_t<T> &array) {
    return array.capacity() == 0;
}
bool is_empty(const string_dyn_t &text) {
    return text.empty();
}
bool is_empty(const owned_unit_t &unit) {
    return !unit.get();
}
template <uint32_t code>
bool is_empty(const basic_unit_link_t<code> &link) {
    return !link.get();
}
// Plain values are left as they are.
template <class T>
bool is_empty(const T &) {
    return true;
}

// Does with ties what the tests need: nothing, but noted.
class noting_tie_t final : public unit_resource_tie_t {
  public:
    noting_tie_t() { install_unit_resource_tie(this); }
    ~noting_tie_t() override { install_unit_resource_tie(nullptr); }

    void destroy_scalar(unit_t &, const unit_attribute_t &attribute) override { note("destroy", attribute); }
    void destroy_array(unit_t &, const unit_attribute_t &attribute) override { note("destroy", attribute); }
    bool clone_scalar(const unit_t &, const unit_attribute_t &attribute, unit_t &) override {
        note("clone", attribute);
        return true;
    }
    bool clone_array(const unit_t &, const unit_attribute_t &attribute, unit_t &) override {
        note("clone", attribute);
        return array_can_be_cloned;
    }

    std::string noted;
    bool array_can_be_cloned = true;

  private:
    void note(const char *what, const unit_attribute_t &attribute) {
        noted += std::string(what) + " " + attribute.name + "\n";
    }
};

// A class whose instances cannot be made while the test says so.
class brittle_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
    static inline int creations_left = 0;

    static unit_t *create(uint32_t pool) {
        return creations_left-- > 0 ? unit_t::unit_class.create(pool) : nullptr;
    }
};
constexpr unit_attribute_t no_attributes[1] = {};
const unit_class_t brittle_u::unit_class = {
    .name = "brittle",
    .registered_name = "brittle_u",
    .class_id = unit_class_id("brittle_u"),
    .create = create,
    .destroy = [](unit_t *unit) { delete static_cast<brittle_u *>(unit); },
    .parent = &unit_t::unit_class,
    .attributes = no_attributes,
    .size = sizeof(brittle_u),
    .alignment = alignof(brittle_u)};

class unit : public testing::Test {
  protected:
    ~unit() override { unit_deletion_list_t::process(); }
    captured_messages_t messages_;
    noting_tie_t tie_;
};

} // namespace

TEST(unit_class, ids_hash_the_registered_name) {
    EXPECT_EQ(unit_class_id(""), 0u);
    EXPECT_EQ(unit_class_id("ab"), 97u * 31 + 98);
    // The same sum done elsewhere.
    EXPECT_EQ(config_u::unit_class.class_id, 0xDD6BC6B8u);
    EXPECT_EQ(rulelist_u::unit_class.class_id, 0xFC187710u);
    EXPECT_EQ(unit_t::unit_class.class_id, 0xCDE69479u);
}

TEST(unit_class, the_table_follows_from_the_description) {
    uint32_t code = 0;
    int64_t offset = 0;
    for (const unit_attribute_t *row = every_kind_u::unit_class.attributes; row->type; ++row) {
        EXPECT_EQ(row->type, ++code) << row->name;
        EXPECT_EQ(row->owner, &every_kind_u::unit_class);
        EXPECT_GT(row->offset, offset) << row->name;
        EXPECT_EQ(row->element_class, code > 60 ? &leaf_u::unit_class : nullptr) << row->name;
        offset = row->offset;
    }
    EXPECT_EQ(code, 68u);
    EXPECT_LT(static_cast<size_t>(offset), every_kind_u::unit_class.size);
    EXPECT_STREQ(every_kind_u::unit_class.attributes[10].name, "real4");
    EXPECT_STREQ(every_kind_u::unit_class.name, "every_kind");
    EXPECT_STREQ(every_kind_u::unit_class.registered_name, "every_kind_u");
    EXPECT_EQ(every_kind_u::unit_class.alignment, 8u);

    const unit_attribute_t *const row = special_leaf_u::unit_class.attributes;
    EXPECT_EQ(row[0].type, 6u);
    EXPECT_EQ(row[0].offset, -1);
    EXPECT_EQ(row[1].type, 1u);
    EXPECT_EQ(row[2].type, 0u);
}

TEST(unit_class, core_classes_are_found_by_id_from_start_to_stop) {
    register_core_unit_classes();
    for (const char *name : {"config_u", "rulelist_u", "rule_u", "blacklist_u", "black_u", "unit_t"}) {
        const unit_class_t *const found = find_unit_class(unit_class_id(name));
        ASSERT_TRUE(found) << name;
        EXPECT_STREQ(found->registered_name, name);
    }
    EXPECT_EQ(find_unit_class(unit_class_id("leaf_u")), nullptr);
    EXPECT_TRUE(register_unit_class(leaf_u::unit_class));
    EXPECT_TRUE(register_unit_class(leaf_u::unit_class));
    EXPECT_EQ(find_unit_class(leaf_u::unit_class.class_id), &leaf_u::unit_class);
    unit_class_t impostor = leaf_u::unit_class;
    EXPECT_FALSE(register_unit_class(impostor));
    forget_unit_classes();
    EXPECT_EQ(find_unit_class(unit_class_id("config_u")), nullptr);
}

TEST_F(unit, a_new_one_is_live_and_without_references) {
    for (uint32_t pool = 0; pool < 4; ++pool) {
        unit_t *const made = config_u::unit_class.create(pool);
        EXPECT_EQ(made->pool(), pool);
        EXPECT_EQ(made->reference_count(), 0u);
        EXPECT_TRUE(made->is_live());
        EXPECT_FALSE(made->is_owned());
        EXPECT_EQ(&made->get_class(), &config_u::unit_class);
        config_u::unit_class.destroy(made);
    }
}

TEST_F(unit, classes_are_told_apart_up_to_their_base) {
    special_leaf_u special;
    config_u config;
    EXPECT_EQ(unit_cast<special_leaf_u>(&special), &special);
    EXPECT_EQ(unit_cast<leaf_u>(&special), &special);
    EXPECT_EQ(unit_cast<unit_t>(&special), &special);
    EXPECT_EQ(unit_cast<leaf_u>(&config), nullptr);
    EXPECT_EQ(unit_cast<leaf_u>(static_cast<unit_t *>(nullptr)), nullptr);
}

TEST_F(unit, cloning_copies_every_kind_of_attribute) {
    every_kind_u *const source = make<every_kind_u>(3);
    source->add_reference();
    fill_all(*source);
    source->set_name("source");
    auto *const copy = static_cast<every_kind_u *>(source->clone());
    ASSERT_TRUE(copy);
    copy->add_reference();
    EXPECT_EQ(copy->pool(), 3u);
    EXPECT_TRUE(name_of(*copy).starts_with("_nameless."));
#define EXPECT_SAME(type, name, ...) EXPECT_TRUE(same(copy->name, source->name)) << #name;
    EVERY_KIND_U_ATTRIBUTES(EXPECT_SAME)
#undef EXPECT_SAME
    EXPECT_EQ(tie_.noted, "clone tie\nclone ties\n");

    // Into a unit that holds something already.
    fill_all(*copy);
    for (const unit_attribute_t *row = every_kind_u::unit_class.attributes; row->type; ++row)
        EXPECT_TRUE(perform_clone_attribute_to(*source, *row, *copy));
#define EXPECT_SAME(type, name, ...) EXPECT_TRUE(same(copy->name, source->name)) << #name;
    EVERY_KIND_U_ATTRIBUTES(EXPECT_SAME)
#undef EXPECT_SAME
    source->drop_reference();
    copy->drop_reference();
}

TEST_F(unit, taking_down_empties_what_owns_and_leaves_plain_values) {
    every_kind_u *const taken = make<every_kind_u>(2);
    taken->add_reference();
    fill_all(*taken);
    taken->set_name("a.b");
    unit_t *const child = taken->child.get(), *const linked = taken->link.get();
    child->add_reference();
    const uint32_t links = linked->reference_count();
    const uint64_t token = taken->token.value();

    taken->destroy();
#define EXPECT_EMPTY(type, name, ...) EXPECT_TRUE(is_empty(taken->name)) << #name;
    EVERY_KIND_U_ATTRIBUTES(EXPECT_EMPTY)
#undef EXPECT_EMPTY
    EXPECT_EQ(tie_.noted, "destroy tie\ndestroy ties\n");
    EXPECT_EQ(taken->token.value(), token);
    EXPECT_FALSE(taken->is_live());
    EXPECT_EQ(taken->reference_count(), 1u);
    EXPECT_EQ(taken->pool(), 2u);
    EXPECT_TRUE(name_of(*taken).starts_with("_nameless."));

    EXPECT_FALSE(child->is_live());
    EXPECT_FALSE(child->is_owned());
    EXPECT_EQ(child->reference_count(), 1u);
    child->drop_reference();
    EXPECT_TRUE(linked->is_live());
    EXPECT_LT(linked->reference_count(), links);

    taken->destroy(); // changes nothing more
    taken->drop_reference();
}

TEST_F(unit, attributes_of_the_base_class_belong_to_it) {
    special_leaf_u *const source = make<special_leaf_u>();
    source->number = 12;
    source->label.assign("label");
    source->add_reference();
    auto *const copy = static_cast<special_leaf_u *>(source->clone());
    copy->add_reference();
    EXPECT_EQ(copy->number, 12);
    EXPECT_EQ(copy->label.view(), "label");
    source->drop_reference();
    copy->drop_reference();
}

TEST_F(unit, empty_units_stay_empty_in_the_copy) {
    every_kind_u *const source = make<every_kind_u>();
    source->add_reference();
    auto *const copy = make<every_kind_u>();
    copy->add_reference();
    fill_all(*copy);
    for (const unit_attribute_t *row = every_kind_u::unit_class.attributes; row->type; ++row)
        EXPECT_TRUE(perform_clone_attribute_to(*source, *row, *copy));
    EXPECT_EQ(copy->child.get(), nullptr);
    EXPECT_EQ(copy->link.get(), nullptr);
    EXPECT_TRUE(copy->children.empty());
    EXPECT_TRUE(copy->texts.empty());
    EXPECT_TRUE(copy->text.empty());
    source->drop_reference();
    copy->drop_reference();
}

TEST_F(unit, links_to_a_unit_that_was_taken_down_are_not_copied) {
    owned_unit_t owner;
    owner.adopt(make<leaf_u>());
    every_kind_u *const source = make<every_kind_u>();
    source->add_reference();
    source->link.link_to(owner.get());
    source->other_links.emplace_back();
    source->other_links.back().link_to(owner.get());
    unit_t *const linked = owner.get();
    EXPECT_EQ(linked->reference_count(), 3u);
    owner.reset();
    EXPECT_EQ(source->link.get(), linked); // memory stays while links do
    EXPECT_FALSE(linked->is_live());
    auto *const copy = static_cast<every_kind_u *>(source->clone());
    copy->add_reference();
    EXPECT_EQ(copy->link.get(), nullptr);
    ASSERT_EQ(copy->other_links.size(), 1u);
    EXPECT_EQ(copy->other_links[0].get(), nullptr);
    EXPECT_EQ(linked->reference_count(), 2u);
    source->drop_reference();
    copy->drop_reference();
}

TEST_F(unit, a_copy_that_fails_in_the_middle_is_reported_and_leaves_nothing) {
    every_kind_u *const source = make<every_kind_u>();
    source->add_reference();
    source->set_name("shop.window_1");
    for (int i = 0; i < 3; ++i) {
        source->children.emplace_back();
        source->children.back().adopt(new brittle_u);
    }
    brittle_u::creations_left = 2;
    EXPECT_EQ(source->clone(), nullptr);
    EXPECT_EQ(messages_.text(),
              "E: [unit] Failed to clone the the attribute 'children' of unit 'shop.window_1' (type "
              "'every_kind').\n");

    // The array of a target that was there before is left empty, its old units let go.
    auto *const target = make<every_kind_u>();
    target->add_reference();
    fill(target->children, 1);
    fill(target->child, 1);
    const unit_attribute_t *const row = every_kind_u::unit_class.attributes;
    brittle_u::creations_left = 2;
    EXPECT_FALSE(perform_clone_attribute_to(*source, row[61], *target));
    EXPECT_TRUE(target->children.empty());
    brittle_u::creations_left = 0;
    source->child.adopt(new brittle_u);
    EXPECT_FALSE(perform_clone_attribute_to(*source, row[60], *target));
    EXPECT_EQ(target->child.get(), nullptr);

    tie_.array_can_be_cloned = false;
    source->children.clear();
    source->child.reset();
    messages_.clear();
    EXPECT_EQ(source->clone(), nullptr);
    EXPECT_EQ(messages_.text(), "E: [unit] Failed to clone the the attribute 'ties' of unit 'shop.window_1' "
                                "(type 'every_kind').\n");
    source->drop_reference();
    target->drop_reference();
}

TEST_F(unit, without_a_reference_waits_and_is_deleted_once) {
    unit_deletion_list_t::process();
    const int before = leaf_u::instances;
    {
        leaf_u *const leaf = make<leaf_u>();
        unit_link_t link;
        for (int i = 0; i < 3; ++i) {
            link.link_to(leaf);
            link.reset(); // each time the last reference
        }
        EXPECT_EQ(leaf_u::instances, before + 1);
        unit_deletion_list_t::process();
        EXPECT_EQ(leaf_u::instances, before);
    }
    // A reference taken while it waits keeps it.
    leaf_u *const leaf = make<leaf_u>();
    unit_link_t first, second;
    first.link_to(leaf);
    first.reset();
    second.link_to(leaf);
    unit_deletion_list_t::process();
    EXPECT_EQ(leaf_u::instances, before + 1);
    EXPECT_TRUE(leaf->is_live());
    second.reset();
    unit_deletion_list_t::process();
    EXPECT_EQ(leaf_u::instances, before);
}

TEST_F(unit, deleting_one_deletes_what_it_owned) {
    unit_deletion_list_t::process();
    const int before = leaf_u::instances;
    every_kind_u *const root = make<every_kind_u>();
    root->add_reference();
    fill(root->child, 1);
    fill(root->children, 1);
    EXPECT_EQ(leaf_u::instances, before + 4);
    root->drop_reference();
    unit_deletion_list_t::process();
    EXPECT_EQ(leaf_u::instances, before);
    EXPECT_EQ(tie_.noted, "destroy tie\ndestroy ties\n");
}

TEST_F(unit, owning_moves_and_replaces) {
    const int before = leaf_u::instances;
    owned_unit_t a, b;
    a.adopt(make<leaf_u>());
    unit_t *const first = a.get();
    a.adopt(first);
    EXPECT_TRUE(first->is_live());
    EXPECT_EQ(first->reference_count(), 1u);
    b = std::move(a);
    EXPECT_EQ(b.get(), first);
    EXPECT_EQ(a.get(), nullptr);
    b.adopt(make<leaf_u>());
    EXPECT_FALSE(first->is_live());
    b.reset();
    unit_deletion_list_t::process();
    EXPECT_EQ(leaf_u::instances, before);
}

TEST_F(unit, names_are_tokens_joined_by_points) {
    leaf_u named;
    EXPECT_TRUE(named.set_name("Truck.Cab.wheel_left"));
    EXPECT_EQ(name_of(named), "truck.cab.wheel_left");
    for (const char *bad : {"", ".", "a.", "a..b", "a-b", "abcdefghijklm"})
        EXPECT_FALSE(named.set_name(bad)) << bad;
    EXPECT_EQ(name_of(named), "truck.cab.wheel_left");
    EXPECT_TRUE(named.set_name("b"));
    EXPECT_EQ(name_of(named), "b");
    string_local_t<4> small;
    EXPECT_TRUE(named.set_name("ab.cd"));
    EXPECT_FALSE(named.get_name_text(small));
    EXPECT_EQ(small.view(), "ab.");
}

TEST_F(unit, thousands_of_names_fill_more_than_one_table) {
    std::vector<std::unique_ptr<leaf_u>> units;
    for (int i = 0; i < 70000; ++i) {
        units.push_back(std::make_unique<leaf_u>());
        ASSERT_TRUE(units.back()->set_name("n" + std::to_string(i)));
    }
    for (int i = 0; i < 70000; i += 997)
        ASSERT_EQ(name_of(*units[static_cast<size_t>(i)]), "n" + std::to_string(i));
    units.resize(5);
    leaf_u another; // in a row that was used before
    EXPECT_TRUE(another.set_name("another"));
    EXPECT_EQ(name_of(another), "another");
    EXPECT_EQ(name_of(*units[4]), "n4");
}

TEST_F(unit, the_name_of_a_nameless_one_is_its_address_in_groups) {
    const struct {
        uintptr_t address;
        const char *text;
    } cases[] = {{0x12345, "_nameless.1.2345"},
                 {0, "_nameless.0"},
                 {0xABC, "_nameless.abc"},
                 {0x10000, "_nameless.1.0000"},
                 {0x7FFD00C01234, "_nameless.7ffd.00c0.1234"},
                 {0xFFFF000000000001, "_nameless.ffff.0000.0000.0001"}};
    for (const auto &c : cases) {
        string_dyn_t text;
        EXPECT_TRUE(nameless_unit_text(c.address, text));
        EXPECT_EQ(text.view(), c.text);
    }
    leaf_u leaf;
    string_dyn_t text;
    nameless_unit_text(reinterpret_cast<uintptr_t>(&leaf), text);
    EXPECT_EQ(name_of(leaf), text.view());
}

TEST_F(unit, unknown_attributes_are_warned_of_and_passed_over) {
    leaf_u leaf;
    EXPECT_TRUE(leaf.on_unknown_attribute("speed", std::nullopt, "12"));
    EXPECT_TRUE(leaf.on_unknown_attribute("speed", 3, "12"));
    EXPECT_TRUE(leaf.on_unknown_attribute("speed", unit_t::appended, "12"));
    EXPECT_TRUE(leaf.on_unknown_attribute("speed", std::nullopt, nullptr));
    EXPECT_EQ(messages_.text(), "W: [unit] Ignored unknown attribute speed = 12\n"
                                "W: [unit] Ignored unknown attribute speed[3] = 12\n"
                                "W: [unit] Ignored unknown attribute speed[] = 12\n"
                                "W: [unit] Ignored unknown attribute speed = <N/A>\n");
}

TEST_F(unit, references_are_counted_across_threads) {
    unit_deletion_list_t::process();
    const int before = leaf_u::instances;
    owned_unit_t owner;
    owner.adopt(make<leaf_u>());
    unit_t *const shared = owner.get();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([shared] {
            for (int i = 0; i < 1000; ++i) {
                unit_link_t link;
                link.link_to(shared);
                EXPECT_EQ(link.get(), shared);
                leaf_u named;
                EXPECT_TRUE(named.set_name("t.i"));
                EXPECT_EQ(name_of(named), "t.i");
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(shared->reference_count(), 1u);
    owner.reset();
    unit_deletion_list_t::process();
    EXPECT_EQ(leaf_u::instances, before);
}

// What a fatal report of the code says, less the line number.
static std::string fatal_text_of(const std::function<void()> &code) {
    const child_run_t run = run_in_child([&] {
        core_initialize();
        code();
    });
    EXPECT_EQ(run.status, 128 + SIGABRT);
    std::string text = run.errors;
    const size_t open = text.find('('), close = text.find(')');
    return close == std::string::npos ? text : text.erase(open, close - open + 1);
}

TEST(unit_fatal, unknown_type_codes_and_broken_counts) {
    leaf_u leaf;
    for (const uint32_t code : {0u, 69u, 0xFFFFFFFFu}) {
        const unit_attribute_t bad = {
            .owner = &leaf_u::unit_class, .offset = 16, .type = code, .name = "bad"};
        EXPECT_EQ(fatal_text_of([&] { perform_destroy_attribute(leaf, bad); }),
                  "*** ERROR *** : kcore/units/unit_base_destroy: kestrel::perform_destroy_attribute: [unit] "
                  "Unknown attribute type in _destroy_attributes().\r\n");
        EXPECT_EQ(fatal_text_of([&] { perform_clone_attribute_to(leaf, bad, leaf); }),
                  "*** ERROR *** : kcore/units/unit_base_clone: kestrel::perform_clone_attribute_to: [unit] "
                  "Unknown attribute type in _clone_attributes_to().\r\n");
    }
    const unit_attribute_t nowhere = {.type = 69};
    perform_destroy_attribute(leaf, nowhere);
    EXPECT_TRUE(perform_clone_attribute_to(leaf, nowhere, leaf));
    EXPECT_EQ(fatal_text_of([&] { leaf.drop_reference(); }),
              "*** ERROR *** : kcore/units/unit: kestrel::unit_t::drop_reference: [unit] A reference is "
              "dropped that was never taken.\r\n");
    EXPECT_EQ(fatal_text_of([] { config_u::unit_class.create(4); }),
              "*** ERROR *** : kcore/units/unit: kestrel::unit_t::set_pool: [unit] There is no unit pool "
              "4.\r\n");
}

TEST(unit_fatal, the_base_resource_tie_can_do_nothing) {
    leaf_u unit, other;
    string_dyn_t name;
    array_dyn_t<unit_t *> values;
    const unit_attribute_t &row = leaf_u::unit_class.attributes[0];
    unit_resource_tie_t &tie = unit_resource_tie();
    const struct {
        const char *operation;
        std::function<void()> code;
        const char *text;
    } cases[] = {
        {"get_resource_name", [&] { tie.get_resource_name(unit, name); },
         "Can not support querying names of resources."},
        {"destroy_scalar", [&] { tie.destroy_scalar(unit, row); },
         "Resource tie is unable to destroy itself."},
        {"destroy_array", [&] { tie.destroy_array(unit, row); }, "Resource tie is unable to destroy itself."},
        {"clone_scalar", [&] { tie.clone_scalar(unit, row, other); },
         "Resource tie is unable to clone itself."},
        {"clone_array", [&] { tie.clone_array(unit, row, other); },
         "Resource tie is unable to clone itself."},
        {"obtain_resource", [&] { tie.obtain_resource("/a", leaf_u::unit_class); },
         "Can not load the resource tie."},
        {"reclaim_resource", [&] { tie.reclaim_resource(&unit); }, "Can not unload the resource tie."},
        {"remove_value", [&] { tie.remove_value(unit, row, 0); },
         "Can not remove element from array of resource ties."},
        {"get_size", [&] { tie.get_size(unit, row); }, "Can not query the size of array of resource ties."},
        {"request_capacity", [&] { tie.request_capacity(unit, row, 4); },
         "Can not change capacity of array of resource ties."},
        {"get_value_scalar", [&] { tie.get_value_scalar(unit, row); },
         "Can not get resource tie attribute value."},
        {"get_value_element", [&] { tie.get_value_element(unit, row, 0); },
         "Can not get resource tie attribute value."},
        {"get_value_array", [&] { tie.get_value_array(unit, row, values); },
         "Can not get the resource tie array copy."},
        {"set_value_scalar", [&] { tie.set_value_scalar(unit, row, &other); },
         "Can not set the resource tie attribute value."},
        {"set_value_element", [&] { tie.set_value_element(unit, row, 0, &other); },
         "Can not set the resource tie attribute value."},
        {"append_value", [&] { tie.append_value(unit, row, &other); },
         "Can not append the resource tie attribute value."},
        {"prepend_value", [&] { tie.prepend_value(unit, row, &other); },
         "Can not prepend the resource tie attribute value."},
    };
    for (const auto &c : cases)
        EXPECT_EQ(fatal_text_of(c.code), std::string("*** ERROR *** : kcore/units/unit_resource_tie: "
                                                     "kestrel::unit_resource_tie_t::") +
                                             c.operation + ": [unit] " + c.text + "\r\n");
    EXPECT_TRUE(tie.is_resource_unit(unit));
    tie.reclaim_resource(nullptr);
}

} // namespace kestrel
