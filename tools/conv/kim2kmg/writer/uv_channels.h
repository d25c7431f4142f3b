#pragma once

// Which UV channels a piece has and which texture coordinate slots they feed.
//
// Channels are the streams "_UV0", "_UV1" and so on without a gap. A channel without aliases feeds the slot
// of its own number; one with aliases feeds the slots that they name, "_TEXCOORD0" to "_TEXCOORD7" or "_UV0"
// to "_UV7", and no other.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/kmg/kmg_layout_and_limits.h"

namespace kestrel {

inline constexpr std::string_view uv_tags[kmg_max_uv_channels] = {"_UV0", "_UV1", "_UV2", "_UV3",
                                                                  "_UV4", "_UV5", "_UV6", "_UV7"};

struct uv_channels_t {
    uint32_t count = 0;
    uint32_t slot_map = 0xFFFFFFFF; // four bits a slot: the channel, 0xF for none; later channels win
};

uv_channels_t find_uv_channels(const kix_piece_t &piece);

} // namespace kestrel
