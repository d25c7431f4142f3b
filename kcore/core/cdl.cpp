#include "kcore/core/cdl.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/utf.h"

#include <cstring>

namespace kestrel {

static cdl_context_t *current_context = nullptr;

void cdl_set_context(cdl_context_t &context) {
    current_context = &context;
}

static bool is_utf8(std::string_view text) {
    while (!text.empty()) {
        const auto decoded = decode_utf8(text);
        if (!decoded)
            return false;
        text.remove_prefix(decoded->length);
    }
    return true;
}

bool cdl_init(int argument_count, const char *const *arguments) {
    cdl_context_t &context = *current_context;
    const auto given = static_cast<uint32_t>(argument_count < 0 ? 0 : argument_count);
    bool all_taken = given <= cdl_context_t::max_arguments;
    uint32_t pool_used = 0;
    uint32_t taken = 0;
    for (; taken < given && taken < cdl_context_t::max_arguments; ++taken) {
        const std::string_view text(arguments[taken]);
        if (!is_utf8(text) || text.size() + 1 > cdl_context_t::pool_size - pool_used) {
            all_taken = false;
            break;
        }
        char *stored = context.pool + pool_used;
        std::memcpy(stored, text.data(), text.size() + 1);
        context.arguments[taken] = stored;
        pool_used += static_cast<uint32_t>(text.size()) + 1;
    }
    context.argument_count = context.range_end = context.matched_run_end = taken;
    context.range_begin = context.matched_option = 0;
    return all_taken;
}

uint32_t cdl_range_size() {
    return current_context->range_end - current_context->range_begin;
}

static bool begins_option(const char *argument) {
    return argument[0] == '-' || argument[0] == '+';
}

cdl_option_t cdl_find(const char *option) {
    const cdl_context_t &context = *current_context;
    const std::span arguments(context.arguments + context.range_begin, cdl_range_size());
    for (size_t k = 1; k < arguments.size(); ++k) {
        if (std::strcmp(arguments[k], option) != 0)
            continue;
        size_t end = k + 1;
        while (end < arguments.size() && !begins_option(arguments[end]))
            ++end;
        return {static_cast<int32_t>(k), arguments.subspan(k + 1, end - k - 1)};
    }
    return {};
}

int32_t cdl_param(const char *option) {
    const cdl_option_t found = cdl_find(option);
    const auto position = static_cast<uint32_t>(found.position); // not_found is that of none
    const auto count = static_cast<uint32_t>(found.values.size());
    current_context->matched_option = position;
    current_context->matched_run_end = found.position < 0 ? position : position + 1 + count;
    return found.position;
}

static void check_that_an_option_was_asked_for() {
    const cdl_context_t &context = *current_context;
    if (context.matched_option == 0 && context.matched_run_end == context.argument_count)
        msg_error("[cdl] A call to cdl_argc() without matching cdl_param().");
}

uint32_t cdl_argc() {
    check_that_an_option_was_asked_for();
    return current_context->matched_run_end - current_context->matched_option;
}

const char *cdl_param_value() {
    check_that_an_option_was_asked_for();
    const cdl_context_t &context = *current_context;
    const uint32_t value = context.matched_option + 1;
    if (context.matched_option == cdl_context_t::not_found || value >= context.matched_run_end)
        return nullptr;
    return context.arguments[context.range_begin + value];
}

} // namespace kestrel
