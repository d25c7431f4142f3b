#include "kcore/strings/format.h"

#include <cstring>

namespace kestrel {

std::string translate_format(const char *format) {
    std::string translated;
    while (*format) {
        const char *percent = std::strchr(format, '%');
        if (!percent) {
            translated += format;
            break;
        }
        translated.append(format, percent + 1);
        format = percent + 1;
        if (*format == '%') {
            translated += *format++;
            continue;
        }
        const size_t flags = std::strspn(format, "-+ #0123456789.");
        translated.append(format, flags);
        format += flags;
        if (std::strncmp(format, "I64", 3) == 0) {
            translated += "ll";
            format += 3;
        } else if (*format == 'I') {
            translated += 'z';
            format += 1;
        } else if (*format == 'p') {
            translated += "016zX";
            format += 1;
        }
    }
    return translated;
}

} // namespace kestrel
