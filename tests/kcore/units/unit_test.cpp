#include "kcore/units/unit.h"

#include "kcore/core/core.h"
#include "kcore/strings/string.h"
#include "kcore/units/conversion_units.h"
#include "kcore/units/unit_resource_tie.h"
#include "kcore/units/unit_values.h"
#include "tests/support/captured_messages.h"
#include "tests/support/child_run.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kestrel {

namespace {

// A class with one attribute.
template <class T>
class holder_u : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }

    holder_u() { ++instances; }
    ~holder_u() override { --instances; }

    T value{};
    static inline std::atomic<int> instances = 0;
};
template <class T>
constexpr unit_attribute_t holder_attributes[] = {KESTREL_UNIT_FIELD(holder_u<T>, value), {}};
template <class T>
const unit_class_t holder_u<T>::unit_class = describe_unit_class<holder_u<T>>("holder", "holder_u",
                                                                              &unit_t::unit_class,
                                                                              holder_attributes<T>);

using number_u = holder_u<int32_t>;

// A class of a class, with a name that is known but kept nowhere.
class special_number_u final : public number_u {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
    string_dyn_t label;
};
constexpr unit_attribute_t special_attributes[] = {
    unit_attribute<array_dyn_t<float>>(special_number_u::unit_class, unit_attribute_t::no_storage, "old"),
    KESTREL_UNIT_FIELD(special_number_u, label),
    {}};
constinit const unit_class_t special_number_u::unit_class = describe_unit_class<special_number_u>(
    "special_number", "special_number_u", &number_u::unit_class, special_attributes);

// A class of which only so many more can be made.
class rare_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
    static inline int creations_left = 0;
};
const unit_class_t rare_u::unit_class = [] {
    unit_class_t description = unit_t::unit_class;
    description.name = "rare";
    description.create = [](uint32_t) -> unit_t * {
        return rare_u::creations_left-- > 0 ? new rare_u : nullptr;
    };
    return description;
}();

// A new unit with one reference, which goes with the keeper.
template <class U>
struct kept_t {
    explicit kept_t(uint32_t pool = 0) : unit(static_cast<U *>(U::unit_class.create(pool))) {
        unit->add_reference();
    }
    explicit kept_t(unit_t *cloned) : unit(static_cast<U *>(cloned)) { unit->add_reference(); }
    ~kept_t() { unit->drop_reference(); }
    U *operator->() { return unit; }
    U *const unit;
};

unit_t *owned_elsewhere() {
    static owned_unit_t owner;
    if (!owner.get())
        owner.adopt(new unit_t);
    return owner.get();
}

// Different bytes in every value; of the valid ones for a flag.
template <class T>
void fill(T &value, int seed) {
    if constexpr (std::is_same_v<T, string_dyn_t>) {
        value.assign_formatted("text %d", seed);
    } else if constexpr (std::is_same_v<T, owned_unit_t>) {
        value.adopt(number_u::unit_class.create(1));
        unit_cast<number_u>(value.get())->value = seed;
    } else if constexpr (requires { value.link_to(nullptr); }) {
        value.link_to(owned_elsewhere());
    } else if constexpr (requires { value.emplace_back(); }) {
        for (int i = 0; i < 3; ++i) {
            value.emplace_back();
            fill(value.back(), seed + i);
        }
    } else {
        std::memset(static_cast<void *>(&value), std::is_same_v<T, bool> ? 1 : seed, sizeof value);
    }
}

template <class T>
bool is_copy(const T &a, const T &b) {
    if constexpr (std::is_same_v<T, string_dyn_t>)
        return a.view() == b.view() && a.c_str() != b.c_str();
    else if constexpr (std::is_same_v<T, owned_unit_t>)
        return a.get() != b.get() && b.get()->is_owned() && b.get()->reference_count() == 1 &&
               b.get()->pool() == 1 &&
               unit_cast<number_u>(a.get())->value == unit_cast<number_u>(b.get())->value;
    else if constexpr (requires { a.get(); })
        return a.get() && a.get() == b.get();
    else if constexpr (requires { a.items(); })
        return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                          [](const auto &x, const auto &y) { return is_copy(x, y); });
    else
        return std::memcmp(&a, &b, sizeof a) == 0;
}

// Plain values are left as they are.
template <class T>
bool is_taken_down(const T &value) {
    if constexpr (std::is_same_v<T, string_dyn_t>)
        return value.empty();
    else if constexpr (requires { value.get(); })
        return !value.get();
    else if constexpr (requires { value.items(); })
        return value.capacity() == 0;
    else
        return true;
}

class unit : public testing::Test {
  protected:
    ~unit() override { unit_deletion_list_t::process(); }
    captured_messages_t messages_;
};

std::string name_of(const unit_t &unit) {
    string_dyn_t text;
    unit.get_name_text(text);
    return text.c_str();
}

} // namespace

TEST_F(unit, values_of_every_type_are_copied_and_taken_down) {
    constexpr size_t text = sizeof(string_dyn_t), pointer = sizeof(void *);
    // By code from 1 on, in steps of two.
    constexpr size_t sizes[] = {text, 8, 4, 8, 12, 16, 4, 8, 12, 16, 64, 16, 28, 32,      40,      16,     16,
                                24,   4, 4, 2, 2,  4,  4, 8, 8,  8,  8,  1,  4,  pointer, pointer, pointer};
    static_assert(std::size(sizes) == 33);
    for (uint32_t code = 1; code <= 66; ++code) {
        const bool known = unit_values_t::visit(code, [&]<class T>(std::type_identity<T>) {
            EXPECT_EQ(sizeof(T), code % 2 ? sizes[code / 2] : sizeof(array_dyn_t<char>)) << code;
            using unit_of_t = holder_u<T>;
            EXPECT_EQ(unit_of_t::unit_class.attributes[0].type, code);
            kept_t<unit_of_t> source(1);
            fill(source->value, static_cast<int>(code));
            const kept_t<unit_of_t> copy(source->clone());
            EXPECT_TRUE(is_copy(source->value, copy.unit->value)) << code;
            EXPECT_EQ(copy.unit->pool(), 1u);
            source->destroy();
            EXPECT_TRUE(is_taken_down(source->value)) << code;
            EXPECT_FALSE(source->is_live());
        });
        EXPECT_TRUE(known) << code;
    }
}

TEST_F(unit, attributes_of_every_level_are_copied_and_those_without_storage_skipped) {
    kept_t<special_number_u> source;
    source->value = 12;
    source->label.assign("label");
    const kept_t<special_number_u> copy(source->clone());
    EXPECT_EQ(copy.unit->value, 12);
    EXPECT_EQ(copy.unit->label.view(), "label");
    EXPECT_EQ(unit_cast<number_u>(copy.unit), copy.unit);
    EXPECT_EQ(unit_cast<config_u>(copy.unit), nullptr);
}

TEST_F(unit, links_to_a_unit_that_was_taken_down_and_owners_of_none_are_empty_in_the_copy) {
    owned_unit_t owner;
    owner.adopt(new unit_t);
    kept_t<holder_u<unit_link_t>> source;
    source->value.link_to(owner.get());
    unit_t *const linked = owner.get();
    owner.reset();
    EXPECT_EQ(source->value.get(), linked); // memory stays while links do
    EXPECT_FALSE(linked->is_live());
    const kept_t<holder_u<unit_link_t>> copy(source->clone());
    EXPECT_EQ(copy.unit->value.get(), nullptr);
    EXPECT_EQ(linked->reference_count(), 1u);

    // An owner of nothing is copied over one of something.
    kept_t<holder_u<owned_unit_t>> empty, target;
    fill(target->value, 1);
    EXPECT_TRUE(perform_clone_attribute_to(*empty.unit, holder_attributes<owned_unit_t>[0], *target.unit));
    EXPECT_EQ(target->value.get(), nullptr);
}

TEST_F(unit, a_copy_that_fails_is_reported_and_leaves_nothing) {
    using group_u = holder_u<array_dyn_t<owned_unit_t>>;
    kept_t<group_u> source, target;
    source->set_name("shop.window_1");
    for (int i = 0; i < 3; ++i) {
        source->value.emplace_back();
        source->value.back().adopt(new rare_u);
    }
    fill(target->value, 1);
    const int before = group_u::instances;
    rare_u::creations_left = 2;
    EXPECT_EQ(source->clone(), nullptr);
    EXPECT_EQ(group_u::instances, before);
    ASSERT_EQ(messages_.lines().size(), 2u);
    EXPECT_TRUE(messages_.lines()[0].starts_with("E: [unit] Failed to clone unit '_nameless."));
    EXPECT_TRUE(messages_.lines()[0].ends_with("' (type 'rare'): memory exhausted."));
    EXPECT_EQ(messages_.lines()[1], "E: [unit] Failed to clone the the attribute 'value' of unit "
                                    "'shop.window_1' (type 'holder').");
    EXPECT_FALSE(perform_clone_attribute_to(*source.unit, group_u::unit_class.attributes[0], *target.unit));
    EXPECT_TRUE(target->value.empty());
}

TEST_F(unit, without_a_reference_waits_and_is_deleted_once) {
    const int before = number_u::instances;
    unit_link_t first, second;
    unit_t *const number = number_u::unit_class.create(0);
    for (int i = 0; i < 3; ++i) {
        first.link_to(number);
        first.reset(); // each time the last reference
    }
    second.link_to(number); // taken while it waits: it stays
    unit_deletion_list_t::process();
    EXPECT_EQ(number_u::instances, before + 1);
    EXPECT_TRUE(number->is_live());
    second.reset();
    unit_deletion_list_t::process();
    EXPECT_EQ(number_u::instances, before);
    {
        kept_t<holder_u<array_dyn_t<owned_unit_t>>> group;
        fill(group->value, 1);
        EXPECT_EQ(number_u::instances, before + 3);
    }
    unit_deletion_list_t::process(); // and what it owned
    EXPECT_EQ(number_u::instances, before);
}

TEST_F(unit, names_are_tokens_joined_by_points) {
    unit_t named;
    EXPECT_TRUE(named.set_name("Truck.Cab.wheel_left"));
    for (const char *bad : {"", ".", "a.", "a..b", "a-b", "abcdefghijklm"})
        EXPECT_FALSE(named.set_name(bad)) << bad;
    EXPECT_EQ(name_of(named), "truck.cab.wheel_left");
    string_local_t<4> small;
    EXPECT_TRUE(named.set_name("ab.cd"));
    EXPECT_FALSE(named.get_name_text(small));
    EXPECT_EQ(small.view(), "ab.");
    for (const auto &[address, text] : {std::pair<uintptr_t, std::string_view>{0, "_nameless.0"},
                                        {0x12345, "_nameless.1.2345"},
                                        {0xFFFF000000000001, "_nameless.ffff.0000.0000.0001"}}) {
        string_dyn_t nameless;
        EXPECT_TRUE(unit_t::get_nameless_text(address, nameless));
        EXPECT_EQ(nameless.view(), text);
    }
    named.destroy();
    EXPECT_TRUE(name_of(named).starts_with("_nameless."));
}

TEST_F(unit, thousands_of_names_fill_more_than_one_table_and_rows_are_used_again) {
    std::vector<unit_t> units(70000);
    const auto name = [](size_t i) { return "n" + std::to_string(i); };
    for (size_t step : {1, 2, 3}) // after the first time in another row
        for (size_t i = 0; i < units.size(); i += step)
            ASSERT_TRUE(units[i].set_name(name(i)));
    for (size_t i = 0; i < units.size(); ++i)
        ASSERT_EQ(name_of(units[i]), name(i));
}

TEST_F(unit, unknown_attributes_are_warned_of_and_passed_over) {
    unit_t lacking;
    EXPECT_TRUE(lacking.on_unknown_attribute("speed", std::nullopt, "12"));
    EXPECT_TRUE(lacking.on_unknown_attribute("speed", 3, "12"));
    EXPECT_TRUE(lacking.on_unknown_attribute("speed", unit_t::appended, nullptr));
    EXPECT_EQ(messages_.text(), "W: [unit] Ignored unknown attribute speed = 12\n"
                                "W: [unit] Ignored unknown attribute speed[3] = 12\n"
                                "W: [unit] Ignored unknown attribute speed[] = <N/A>\n");
}

TEST(unit_class, is_known_by_name_from_the_start_and_can_be_described) {
    register_core_unit_classes();
    // The hashes of the names, worked out elsewhere.
    for (const auto &[name, id] : {std::pair<std::string_view, uint32_t>{"config_u", 0xDD6BC6B8u},
                                   {"rulelist_u", 0xFC187710u},
                                   {"unit_t", 0xCDE69479u}}) {
        ASSERT_TRUE(find_unit_class(id)) << name;
        EXPECT_EQ(find_unit_class(id)->registered_name, name);
        EXPECT_FALSE(find_unit_class(id)->description);
    }
    describe_core_unit_classes();
    EXPECT_EQ(find_unit_class(0xDD6BC6B8u)->description, &config_u::unit_class);
    EXPECT_FALSE(register_unit_class("config_u", &rule_u::unit_class));
    EXPECT_TRUE(register_unit_class("config_u", &config_u::unit_class));
    forget_unit_classes();
    EXPECT_FALSE(find_unit_class(0xDD6BC6B8u));
}

TEST(unit_fatal, broken_rules_and_what_the_base_resource_tie_cannot_do) {
    number_u unit;
    unit_resource_tie_t &tie = unit_resource_tie();
    const auto row = [](uint32_t type) { return unit_attribute_t{.offset = 16, .type = type}; };
    const struct {
        std::function<void()> code;
        const char *text;
    } cases[] = {
        {[&] { perform_destroy_attribute(unit, row(69)); },
         "unit_base_destroy: kestrel::perform_destroy_attribute: [unit] Unknown attribute type in "
         "_destroy_attributes()."},
        {[&] { perform_clone_attribute_to(unit, row(69), unit); },
         "unit_base_clone: kestrel::perform_clone_attribute_to: [unit] Unknown attribute type in "
         "_clone_attributes_to()."},
        {[&] { unit.drop_reference(); },
         "unit: kestrel::unit_t::drop_reference: [unit] A reference is dropped that was never taken."},
        {[&] { perform_destroy_attribute(unit, row(67)); },
         "unit_resource_tie: kestrel::unit_resource_tie_t::destroy_scalar: [unit] Resource tie is unable to "
         "destroy itself."},
        {[&] { perform_clone_attribute_to(unit, row(68), unit); },
         "unit_resource_tie: kestrel::unit_resource_tie_t::clone_array: [unit] Resource tie is unable to "
         "clone itself."},
        {[&] { tie.reclaim_resource(&unit); },
         "unit_resource_tie: kestrel::unit_resource_tie_t::reclaim_resource: [unit] Can not unload the "
         "resource tie."}};
    for (const auto &c : cases) {
        const child_run_t run = run_in_child([&] {
            core_initialize();
            c.code();
        });
        EXPECT_EQ(run.status, abnormal_end_status);
        std::string text = run.errors; // less the line number
        text.erase(text.find('('), text.find(')') - text.find('(') + 1);
        EXPECT_EQ(text, std::string("*** ERROR *** : kcore/units/") + c.text + "\r\n");
    }
    EXPECT_TRUE(tie.is_resource_unit(unit));
    tie.reclaim_resource(nullptr);
    const unit_attribute_t nowhere = {.type = 69}; // without storage any code will do
    perform_destroy_attribute(unit, nowhere);
    EXPECT_TRUE(perform_clone_attribute_to(unit, nowhere, unit));
}

} // namespace kestrel
