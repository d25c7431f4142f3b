#include "kcore/strings/printf_format.h"

#include <cstring>

namespace kestrel {

// What stands between "%" and the size prefix or the conversion.
static size_t length_of_flags(const char *text) {
    return std::strspn(text, "-+ #0123456789.");
}

// The start of the first conversion, just behind its flags, that printf does not know; null when there is
// none.
static const char *find_own_conversion(const char *format) {
    while ((format = std::strchr(format, '%'))) {
        format += 1 + length_of_flags(format + 1);
        if (*format == 'I' || *format == 'p')
            return format;
        if (*format)
            ++format;
    }
    return nullptr;
}

printf_format_t::printf_format_t(const char *format) : unchanged_(format) {
    const char *own = find_own_conversion(format);
    if (!own)
        return;
    unchanged_ = nullptr;
    for (; own; own = find_own_conversion(format)) {
        translated_.append(format, own);
        if (*own == 'p') {
            translated_ += ".16zX";
            format = own + 1;
        } else {
            const bool wide = std::strncmp(own, "I64", 3) == 0;
            translated_ += wide ? "ll" : "z";
            format = own + (wide ? 3 : 1);
        }
    }
    translated_ += format;
}

} // namespace kestrel
