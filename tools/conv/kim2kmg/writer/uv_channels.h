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

inline constexpr std::string_view uv_slot_names[kmg_max_uv_channels] = {
    "_TEXCOORD0", "_TEXCOORD1", "_TEXCOORD2", "_TEXCOORD3",
    "_TEXCOORD4", "_TEXCOORD5", "_TEXCOORD6", "_TEXCOORD7"};

struct uv_channels_t {
    uint32_t count = 0;
    uint32_t slot_map = 0xFFFFFFFF; // four bits a slot: the channel, 0xF for none; later channels win
};

inline void feed_slot(uint32_t &slot_map, uint32_t slot, uint32_t channel) {
    const uint32_t shift = 4 * slot;
    slot_map = (slot_map & ~(0xFu << shift)) | channel << shift;
}

inline uv_channels_t find_uv_channels(const kix_piece_t &piece) {
    uv_channels_t channels;
    for (uint32_t channel = 0; channel < kmg_max_uv_channels; ++channel) {
        const kix_stream_t *const stream = piece.find_stream(uv_tags[channel]);
        if (!stream)
            break;
        channels.count = channel + 1;
        if (stream->aliases.empty())
            feed_slot(channels.slot_map, channel, channel);
        for (const string_dyn_t &alias : stream->aliases)
            for (uint32_t slot = 0; slot < kmg_max_uv_channels; ++slot)
                if (alias.view() == uv_slot_names[slot] || alias.view() == uv_tags[slot])
                    feed_slot(channels.slot_map, slot, channel);
    }
    return channels;
}

} // namespace kestrel
