#pragma once

// The tags of the vertex streams that the geometry file takes besides positions and UV channels.

#include <string_view>

namespace kestrel {

inline constexpr std::string_view normal_tag = "_NORMAL";
inline constexpr std::string_view tangent_tag = "_TANGENT";
inline constexpr std::string_view colour_tag = "_RGBA";
inline constexpr std::string_view factor_tag = "_FACTOR";

} // namespace kestrel
