#pragma once

// Printf formats of the program.
//
// Besides the standard conversions they know the size prefixes "I" ("%Iu": unsigned of pointer width) and
// "I64" ("%I64u": unsigned of 64 bits), and "%p" prints sixteen upper-case digits without a prefix.
//
// format_for_t checks a literal format against the types of its arguments when the program is compiled, so a
// message can never print a wrong or missing argument. The format is translated for the platform's printf
// when it is used, in place: a literal with "I" or "p" in it has a bounded length.

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kestrel {

// Without the NUL, of a format with a conversion that printf does not know.
inline constexpr size_t max_own_format_length = 255;

namespace format_check {

// A type is named by the letter that the checker compares: s text, p pointer, d/u 32-bit integers,
// D/U 64-bit integers, f real.
template <class T>
consteval char letter_of() {
    using plain_t = std::remove_cv_t<T>;
    if constexpr (std::is_same_v<plain_t, const char *> || std::is_same_v<plain_t, char *>)
        return 's';
    else if constexpr (std::is_pointer_v<plain_t>)
        return 'p';
    else if constexpr (std::is_floating_point_v<plain_t>)
        return 'f';
    else if constexpr (std::is_integral_v<plain_t> && sizeof(plain_t) == 8)
        return std::is_signed_v<plain_t> ? 'D' : 'U';
    else if constexpr (std::is_integral_v<plain_t> && sizeof(plain_t) <= 4)
        return std::is_signed_v<plain_t> || sizeof(plain_t) < 4 ? 'd' : 'u';
    else
        return '?';
}

consteval bool takes(char conversion, bool wide, char letter) {
    switch (conversion) {
    case 's':
        return letter == 's';
    case 'p':
        return letter == 'p' || letter == 's';
    case 'f':
        return letter == 'f';
    case 'd':
    case 'c':
        return letter == (wide ? 'D' : 'd');
    case 'u':
    case 'x':
        return letter == (wide ? 'U' : 'u');
    default:
        return false;
    }
}

// Not constexpr on purpose: reaching one stops the compilation.
inline void format_does_not_match_its_arguments() {}
inline void format_is_too_long() {}

} // namespace format_check

// Clang 14 destroys the temporaries of a statement with a consteval constructor a second time, at the end of
// the function and also where they were never made. Such compilers do not check formats.
#if defined(__clang__) && __clang_major__ < 17
template <class... A>
struct format_for_t {
    const char *text;

    constexpr format_for_t(const char *literal) : text(literal) {}
};
#else
template <class... A>
struct format_for_t {
    const char *text;

    template <size_t N>
    consteval format_for_t(const char (&literal)[N]) : text(literal) {
        constexpr char letters[] = {format_check::letter_of<A>()..., '\0'};
        size_t argument = 0;
        for (size_t i = 0; i + 1 < N; ++i) {
            if (literal[i] != '%')
                continue;
            if (literal[++i] == '%')
                continue;
            while (literal[i] >= '0' && literal[i] <= '9')
                ++i;
            bool wide = false;
            if ((literal[i] == 'I' || literal[i] == 'p') && N - 1 > max_own_format_length)
                format_check::format_is_too_long();
            if (literal[i] == 'I') {
                wide = true;
                i += literal[i + 1] == '6' && literal[i + 2] == '4' ? 3 : 1;
            }
            if (argument >= sizeof...(A) || !format_check::takes(literal[i], wide, letters[argument]))
                format_check::format_does_not_match_its_arguments();
            ++argument;
        }
        if (argument != sizeof...(A))
            format_check::format_does_not_match_its_arguments();
    }
};
#endif

} // namespace kestrel
