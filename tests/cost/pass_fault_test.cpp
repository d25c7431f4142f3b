// Every allocation of every pass fails once.

#include "kcore/messages/message_system.h"
#include "tests/cost/work_counter.h"
#include "tests/support/child_run.h"
#include "tests/support/plain_model.h"
#include "tools/conv/kim2kmg/passes/passes.h"

#include <gtest/gtest.h>

#include <set>
#include <unistd.h>

namespace kestrel {

namespace {

class error_printer_t final : public message_handler_t {
  public:
    error_printer_t() {
        message_system_t::start();
        message_system_t::add_handler(*this);
    }
    void handle(const message_t &message) override { std::fprintf(stderr, "%s\n", message.text.c_str()); }
};

// Two pieces that can be joined, each with a triangle that has no area.
plain_model_t two_pieces() {
    plain_model_t model =
        one_piece_model({{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {2, 0, 0}}, {{0, 1, 3}, {0, 2, 1}});
    model.pieces.push_back(model.pieces[0]);
    model.parts = {{2, {0, 1}}};
    return model;
}

using pass_t = void (*)(kim_t &);
constexpr int changed = 10, some_unchanged = 11, ran_untouched = 12, broken = 13;

[[noreturn]] void run_and_exit(pass_t pass, uint64_t n, const plain_model_t &whole) {
    const error_printer_t messages;
    owner_list_t owners;
    kim_t &model = build_model(two_pieces(), owners);
    uint64_t allocations;
    {
        work_counter_t counter;
        counter.fail_allocation(n);
        pass(model);
        allocations = counter.work().allocations;
    }
    const plain_model_t after = plain_copy(model), before = two_pieces();
    for (size_t p = 0; p < after.pieces.size(); ++p)
        if (after.pieces[p] != whole.pieces[p] && after.pieces[p] != before.pieces[p])
            _exit(broken);
    _exit(allocations < n ? ran_untouched : after == whole ? changed : some_unchanged);
}

TEST(pass_fault, a_piece_stays_as_it_was_or_the_process_ends_with_a_line_of_its_own) {
    const struct {
        pass_t pass;
        std::set<std::string> last_words;
    } cases[] = {
        {[](kim_t &model) { discard_degenerated_triangles(model); },
         {"kestrel::discard_degenerated_triangles: Unable to allocate memory for retrofitting the triangle "
          "stream.",
          "kestrel::discard_degenerated_triangles: Unable to initialize new triangle stream."}},
        {[](kim_t &model) { merge_part_pieces(model); },
         {"kestrel::append_stream_data: Unable to allocate data for stream merge.",
          "kestrel::append_stream_data: Unable to initialize new merged stream."}},
        {[](kim_t &model) { optimize_for_vertex_cache(model, true); }, {}},
    };
    const std::string source = "tools/conv/kim2kmg/kim2kmg_tools(";
    for (const auto &[pass, last_words] : cases) {
        owner_list_t owners;
        kim_t &model = build_model(two_pieces(), owners);
        pass(model);
        const plain_model_t whole = plain_copy(model);
        std::set<std::string> seen, places;
        int status = 0;
        for (uint64_t n = 1; status != ran_untouched; ++n) {
            const child_run_t run = run_in_child([&] { run_and_exit(pass, n, whole); });
            SCOPED_TRACE("allocation " + std::to_string(n) + "\n" + run.errors);
            status = run.status;
            ASSERT_LT(n, 1000u);
            if (status == abnormal_end_status) {
                const size_t place = run.errors.find(source), text = run.errors.find("): ");
                ASSERT_NE(place, std::string::npos);
                places.insert(run.errors.substr(place, text - place));
                seen.insert(run.errors.substr(text + 3, run.errors.find('\n', text) - text - 3));
            } else if (status != ran_untouched) { // nothing but a message was cut, or a piece not ordered
                ASSERT_TRUE(status == changed || (last_words.empty() && status == some_unchanged)) << status;
            }
        }
        EXPECT_EQ(seen, last_words);
        EXPECT_EQ(places.size(), last_words.size());
    }
}

} // namespace

} // namespace kestrel
