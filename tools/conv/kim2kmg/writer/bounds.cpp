#include "tools/conv/kim2kmg/writer/bounds.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

void bounds_t::add(std::span<const float3_t> points) {
    for (const float3_t &point : points) {
        grow_sphere(point);
        const float coordinates[3] = {point.x, point.y, point.z};
        for (size_t i = 0; i < 3; ++i) {
            box_.minimum[i] = std::min(box_.minimum[i], coordinates[i]);
            box_.maximum[i] = std::max(box_.maximum[i], coordinates[i]);
        }
    }
}

void bounds_t::grow_sphere(const float3_t &point) {
    if (!started_) {
        sphere_ = {{point.x, point.y, point.z}, 0};
        started_ = true;
        return;
    }
    auto &[c, r] = sphere_;
    const float dx = point.x - c[0], dy = point.y - c[1], dz = point.z - c[2];
    const float squared = dx * dx + dy * dy + dz * dz;
    if (!(squared > r * r))
        return;
    // The new diameter runs from the point through the centre to the far side of the old sphere.
    const float distance = std::sqrt(squared);
    c[0] = (c[0] - dx / distance * r + point.x) / 2;
    c[1] = (c[1] - dy / distance * r + point.y) / 2;
    c[2] = (c[2] - dz / distance * r + point.z) / 2;
    r = (r + distance) / 2;
}

std::span<const float3_t> positions_of(const kix_piece_t &piece) {
    const kix_stream_t *stream = piece.find_stream(position_tag);
    return stream && stream->format() == stream_format_t::float3 ? stream->items_as<float3_t>()
                                                                 : std::span<const float3_t>();
}

} // namespace kestrel
