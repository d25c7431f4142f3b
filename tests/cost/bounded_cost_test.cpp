// The worst input of each kind, at two sizes: what it costs grows with its size and stays below a factor of
// it.

#include "kcore/kutils/ufs/mem_file.h"
#include "tests/cost/work_counter.h"
#include "tests/cost/worst_inputs.h"
#include "tests/support/captured_messages.h"
#include "tools/conv/intermediate/parse_file.h"
#include "tools/conv/kim2kmg/passes/passes.h"
#include "tools/conv/kim2kmg/writer/kmg_writer.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace kestrel {

namespace {

class line_counter_t final : public listener_t {
  public:
    void handle(const message_t &message) override {
        bytes_ += message.text.length();
        ++lines_;
        if (lines_ <= most_kept || message.level == message_level_t::error)
            last_.assign(message.text);
    }
    uint64_t bytes() const { return bytes_; }
    uint64_t lines() const { return lines_; }
    // The last error, or the last of the first lines.
    const string_dyn_t &last() const { return last_; }

  private:
    static constexpr uint64_t most_kept = 10;

    uint64_t bytes_ = 0;
    uint64_t lines_ = 0;
    string_dyn_t last_;
};

struct cost_t {
    size_t size; // of the files
    work_t work;
    uint64_t message_bytes;
    uint64_t message_lines;
    std::string last_message;
    bool converted;
};

// Everything is held as long as convert_file holds it. All passes are on, but that which removes triangles
// may stay off, since the others have less to do after it.
cost_t cost_of(const worst_input_t &input, bool discard = true) {
    line_counter_t lines;
    bool converted = false;
    work_counter_t counter;
    {
        owner_list_t owners;
        kim_t *const model = parse_model_text(input.model, "m.kim", owners);
        const kis_t *const skeleton =
            model && model->has_skinning() ? parse_skeleton_text(input.skeleton, "s.kis", owners) : nullptr;
        if (model && (skeleton || !model->has_skinning())) {
            if (discard)
                discard_degenerated_triangles(*model);
            merge_part_pieces(*model);
            optimize_for_vertex_cache(*model, true);
            mem_file_t geometry;
            converted = kmg_write(std::move(*model), skeleton, true, geometry);
        }
    }
    return {input.model.size() + input.skeleton.size(),
            counter.work(),
            lines.bytes(),
            lines.lines(),
            lines.last().c_str(),
            converted};
}

class bounded_cost_test : public testing::TestWithParam<worst_kind_t> {};

void compare(const worst_kind_t &kind, const cost_t &small, const cost_t &large) {
    const double growth = static_cast<double>(large.size) / static_cast<double>(small.size);
    ASSERT_GT(growth, 3.0) << "the inputs are not what they should be";
    EXPECT_EQ(large.converted, kind.converts) << large.last_message;
    // Logarithms, and steps at which tables double.
    const auto bound = [&](uint64_t cost, uint64_t granule) {
        return static_cast<double>(cost + granule) * growth * 1.6;
    };
    EXPECT_LE(static_cast<double>(large.work.blocks), bound(small.work.blocks, 100'000));
    EXPECT_LE(static_cast<double>(large.work.allocations), bound(small.work.allocations, 100));
    EXPECT_LE(static_cast<double>(large.message_bytes), bound(small.message_bytes, 1000));
    constexpr double whatever_the_size = text_window_t::usual_size + 100'000;
    for (const cost_t &cost : {small, large})
        EXPECT_LE(static_cast<double>(cost.work.peak_bytes),
                  kind.memory_factor * static_cast<double>(cost.size) + whatever_the_size);
    const auto a_byte = [&](uint64_t cost) {
        return static_cast<double>(cost) / static_cast<double>(large.size);
    };
    std::printf("%-26s %8zu bytes: memory %6.1f, blocks %7.1f, allocations %6.3f, messages %6.1f a byte\n",
                kind.name, large.size, a_byte(large.work.peak_bytes), a_byte(large.work.blocks),
                a_byte(large.work.allocations), a_byte(large.message_bytes));
}

TEST_P(bounded_cost_test, grows_with_the_size) {
    const worst_kind_t &kind = GetParam();
    const worst_input_t small = kind.make(200'000), large = kind.make(800'000);
    compare(kind, cost_of(small), cost_of(large));
    compare(kind, cost_of(small, false), cost_of(large, false));
}

const worst_kind_t &kind_named(std::string_view name) {
    for (const worst_kind_t &kind : worst_kinds())
        if (kind.name == name)
            return kind;
    throw std::logic_error("no such kind");
}

TEST(bounded_cost, says_when_it_stops_reporting_unknown_bytes) {
    const cost_t cost = cost_of(kind_named("line_feeds_and_errors").make(200'000));
    EXPECT_EQ(cost.message_lines, 65536u + 1 + 1); // the tokens, that there are more, the syntax error
    EXPECT_EQ(cost.last_message, "m.kim:100001: syntax error [ token '' ]");
}

TEST(bounded_cost, says_when_it_stops_warning_of_heavy_items) {
    // 400 items with one clone each, two lines, for each of 100 pieces; and a triangle is removed from each.
    EXPECT_EQ(cost_of(kind_named("heavy_items").make(200'000)).message_lines, 65536u + 1 + 100);
}

TEST(bounded_cost, refuses_parts_that_list_a_large_piece_again_and_again) {
    // 384 times 2222 vertices, of 2605.
    EXPECT_EQ(cost_of(kind_named("repeated_piece").make(200'000)).last_message,
              "[kim2kmg] : the parts list pieces so often that the geometry would be 327 times the model's");
}

INSTANTIATE_TEST_SUITE_P(worst, bounded_cost_test,
                         testing::ValuesIn(worst_kinds().begin(), worst_kinds().end()),
                         [](const auto &kind) { return std::string(kind.param.name); });

} // namespace

} // namespace kestrel
