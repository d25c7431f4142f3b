#include "tools/conv/kim2kmg/writer/uv_channels.h"

namespace kestrel {

static constexpr std::string_view slot_names[kmg_max_uv_channels] = {"_TEXCOORD0", "_TEXCOORD1", "_TEXCOORD2",
                                                                     "_TEXCOORD3", "_TEXCOORD4", "_TEXCOORD5",
                                                                     "_TEXCOORD6", "_TEXCOORD7"};

static void feed_slot(uint32_t &slot_map, uint32_t slot, uint32_t channel) {
    const uint32_t shift = 4 * slot;
    slot_map = (slot_map & ~(0xFu << shift)) | channel << shift;
}

uv_channels_t find_uv_channels(const kix_piece_t &piece) {
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
                if (alias.view() == slot_names[slot] || alias.view() == uv_tags[slot])
                    feed_slot(channels.slot_map, slot, channel);
    }
    return channels;
}

} // namespace kestrel
