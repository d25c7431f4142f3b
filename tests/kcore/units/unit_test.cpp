#include "kcore/units/unit.h"

#include "kcore/strings/string.h"
#include "kcore/units/conversion_units.h"
#include "kcore/units/unit_values.h"
#include "tests/support/captured_messages.h"

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
        static_cast<number_u *>(value.get())->value = seed;
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
               static_cast<number_u *>(a.get())->value == static_cast<number_u *>(b.get())->value;
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

} // namespace kestrel
