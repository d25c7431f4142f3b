#pragma once

// Whole files of the operating system for the command-line tools. What fails has been reported.

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kestrel {

std::optional<std::vector<std::byte>> read_file(const std::string &path);
// The file stands complete or is what it was before.
bool write_file(const std::string &path, std::span<const std::byte> bytes);

} // namespace kestrel
