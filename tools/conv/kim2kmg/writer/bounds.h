#pragma once

// The sphere and the box around points that are added one after the other.
//
// The sphere grows just enough to hold its old self and the new point, so it depends on the order of the
// points; all arithmetic is in single precision.

#include "tools/conv/intermediate/kim_model.h"
#include "tools/kmg/kmg_format.h"

#include <span>

namespace kestrel {

class bounds_t {
  public:
    void add(std::span<const float3_t> points);

    // Zeros while there is no point.
    const kmg_sphere_t &sphere() const { return sphere_; }
    // Turned inside out, from the largest number to the smallest, while there is no point.
    const kmg_box_t &box() const { return box_; }

  private:
    void grow_sphere(const float3_t &point);

    bool started_ = false;
    kmg_sphere_t sphere_;
    kmg_box_t box_{{largest, largest, largest}, {-largest, -largest, -largest}};

    static constexpr float largest = 3.4028235e38f;
};

// The piece's positions; none when it has no stream of that name with three floats an item.
std::span<const float3_t> positions_of(const kix_piece_t &piece);

} // namespace kestrel
