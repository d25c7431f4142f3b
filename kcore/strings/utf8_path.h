#pragma once

// Paths of the standard library from and to UTF-8 text, whatever the system's code page. On systems whose
// paths are bytes every byte comes through.

#include <filesystem>
#include <string>
#include <string_view>

namespace kestrel {

inline std::filesystem::path utf8_path(std::string_view text) {
    return std::u8string_view(reinterpret_cast<const char8_t *>(text.data()), text.size());
}

inline std::string utf8_text(const std::filesystem::path &path) {
    const std::u8string text = path.u8string();
    return {reinterpret_cast<const char *>(text.data()), text.size()};
}

} // namespace kestrel
