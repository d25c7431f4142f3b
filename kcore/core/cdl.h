#pragma once

// The command line: its arguments as UTF-8, and questions about its options.
//
// An option's values are the arguments that follow it up to the next one that begins with "-" or "+". The
// context holds at most 128 arguments in 2048 bytes of text; options beyond that are not found.

#include <cstdint>
#include <span>

namespace kestrel {

struct cdl_context_t {
    static constexpr uint32_t max_arguments = 128;
    static constexpr uint32_t pool_size = 2048;
    static constexpr uint32_t not_found = 0xFFFFFFFF;

    const char *arguments[max_arguments] = {};
    uint32_t argument_count = 0;
    uint32_t range_begin = 0; // the arguments that questions search
    uint32_t range_end = 0;
    uint32_t matched_option = 0; // relative to the range
    uint32_t matched_run_end = 0;
    char pool[pool_size] = {};
};

// Designates the context that all of the following work on; it stays the caller's.
void cdl_set_context(cdl_context_t &context);

// False when an argument is not valid UTF-8 or does not fit, or when there are too many; those before it are
// taken.
bool cdl_init(int argument_count, const char *const *arguments);

struct cdl_option_t {
    int32_t position = -1; // among the arguments, the program's name at 0; -1 when it is not given
    std::span<const char *const> values;
};

// The first argument after the program's name that equals the option, with its values.
cdl_option_t cdl_find(const char *option);

// The same in three questions: its position, which is then the option found last;
int32_t cdl_param(const char *option);
// about the option found last: itself and its values counted, and its first value or null.
uint32_t cdl_argc();
const char *cdl_param_value();
// How many arguments the questions search, the program's name included.
uint32_t cdl_range_size();

} // namespace kestrel
