#pragma once

// The sphere and the box around points that are added one after the other.
//
// The sphere grows just enough to hold its old self and the new point, so it depends on the order of the
// points; all arithmetic is in single precision.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/kmg/kmg_layout_and_limits.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace kestrel {

class bounds_t {
  public:
    void add(std::span<const float3_t> points) {
        for (const float3_t &point : points) {
            grow_sphere(point);
            const float coordinates[3] = {point.x, point.y, point.z};
            for (size_t i = 0; i < 3; ++i) {
                box_.minimum[i] = std::min(box_.minimum[i], coordinates[i]);
                box_.maximum[i] = std::max(box_.maximum[i], coordinates[i]);
            }
        }
    }

    // Zeros while there is no point.
    const kmg_sphere_t &sphere() const { return sphere_; }
    // Turned inside out, from the largest number to the smallest, while there is no point.
    const kmg_box_t &box() const { return box_; }

  private:
    void grow_sphere(const float3_t &point) {
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

    static constexpr float largest = 3.4028235e38f;

    bool started_ = false;
    kmg_sphere_t sphere_;
    kmg_box_t box_{{largest, largest, largest}, {-largest, -largest, -largest}};
};

// The piece's positions; none when it has no stream of that name with three floats an item.
inline std::span<const float3_t> positions_of(const kix_piece_t &piece) {
    const kix_stream_t *const stream = piece.find_stream(position_tag);
    return stream && stream->format() == stream_format_t::float3 ? stream->items_as<float3_t>()
                                                                 : std::span<const float3_t>();
}

} // namespace kestrel
