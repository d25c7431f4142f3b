// Prints a line for each piece of arithmetic that decides bytes of an output: its name and a hash of what it
// gives for many inputs. Built by several compilers with several options, it must always print the same.

#include "kcore/collections/array.h"
#include "tools/conv/intermediate/kis_model.h"
#include "tools/conv/intermediate/number_text.h"
#include "tools/conv/kim2kmg/affine/affine_decomposition.h"
#include "tools/conv/kim2kmg/passes/vertex_cache_order.h"
#include "tools/conv/kim2kmg/writer/bounds.h"
#include "tools/conv/kim2kmg/writer/influences.h"
#include "tools/conv/kim2kmg/writer/vertex_packing.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace kestrel;

namespace {

constexpr int rounds = 20000;

// FNV-1a.
class digest_t {
  public:
    template <class T>
    void add(const T &value) {
        unsigned char bytes[sizeof value];
        std::memcpy(bytes, &value, sizeof value);
        for (const unsigned char byte : bytes)
            hash_ = (hash_ ^ byte) * 0x100000001B3;
    }
    void print(const char *name) const {
        std::printf("%s %016llx\n", name, static_cast<unsigned long long>(hash_));
    }

  private:
    uint64_t hash_ = 0xCBF29CE484222325;
};

// Inputs are made of integers, so that they are the same everywhere. SplitMix64.
class inputs_t {
  public:
    uint64_t bits() {
        uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
        z = (z ^ z >> 27) * 0x94D049BB133111EB;
        return z ^ z >> 31;
    }
    uint64_t digits() {
        const uint64_t number = bits();
        return number >> below(64);
    }
    uint32_t below(uint32_t bound) { return static_cast<uint32_t>(bits() % bound); }
    // Between -1 and 1, now and then a whole number.
    float unit() {
        const auto number = static_cast<int32_t>(bits() & 0xFFFFFF) - 0x800000;
        return below(8) == 0 ? static_cast<float>(static_cast<int32_t>(below(3)) - 1)
                             : static_cast<float>(number) * 0x1p-23f;
    }
    std::array<float, 16> matrix() {
        const float sizes[] = {1, 1, 100, 1e-3f, 1e15f, 1e-15f};
        const float size = sizes[below(6)];
        std::array<float, 16> m;
        for (float &value : m)
            value = unit() * size;
        return m;
    }

  private:
    uint64_t state_ = 1;
};

digest_t decompositions() {
    inputs_t inputs;
    digest_t digest;
    for (int i = 0; i < rounds; ++i)
        digest.add(affine_decomposition(inputs.matrix()));
    return digest;
}

digest_t inverses() {
    inputs_t inputs;
    digest_t digest;
    for (int i = 0; i < rounds; ++i)
        digest.add(invert_matrix(inputs.matrix()).values);
    return digest;
}

digest_t decimals() {
    inputs_t inputs;
    digest_t digest;
    for (int i = 0; i < rounds; ++i) {
        std::string text = inputs.below(2) ? "-" : "";
        text += std::to_string(inputs.digits()) + ".";
        text += std::to_string(inputs.digits());
        if (inputs.below(2))
            text += "e-" + std::to_string(inputs.below(60));
        float value = 0;
        scan_real((text + std::string(64, '\0')).c_str(), value);
        digest.add(value);
    }
    return digest;
}

digest_t skins() {
    inputs_t inputs;
    digest_t digest;
    const uint8_t bone_map[] = {0, 1, 2, 3, 4, 5, 6, 7};
    array_dyn_t<influence_pair_t> scratch;
    for (int i = 0; i < rounds; ++i) {
        std::vector<skin_weight_t> weights(1 + inputs.below(8));
        for (skin_weight_t &weight : weights)
            weight = {inputs.below(8), (inputs.unit() + 1) / static_cast<float>(weights.size())};
        influence_set_t set{};
        quantise_influences(weights, bone_map, scratch, set);
        digest.add(set);
    }
    return digest;
}

digest_t spheres() {
    inputs_t inputs;
    digest_t digest;
    bounds_t bounds;
    for (int i = 0; i < rounds; ++i) {
        if (i % 20 == 0)
            bounds = {};
        const float3_t point{inputs.unit(), inputs.unit(), inputs.unit()};
        bounds.add({&point, 1});
        digest.add(bounds.sphere());
        digest.add(bounds.box());
    }
    return digest;
}

digest_t vertex_orders() {
    inputs_t inputs;
    digest_t digest;
    vertex_cache_order_t order;
    for (int i = 0; i < rounds / 100; ++i) {
        const uint32_t vertex_count = 3 + inputs.below(100);
        std::vector<triangle_t> triangles(200);
        for (triangle_t &triangle : triangles) {
            const uint32_t first = inputs.below(vertex_count);
            const uint32_t step = 1 + inputs.below((vertex_count - 1) / 2);
            triangle = {{first, (first + step) % vertex_count, (first + 2 * step) % vertex_count}};
        }
        for (const uint32_t triangle : order.run(triangles, vertex_count))
            digest.add(triangle);
    }
    return digest;
}

digest_t colours() {
    inputs_t inputs;
    digest_t digest;
    for (int i = 0; i < rounds; ++i) {
        const std::array<float, 4> four{inputs.unit(), inputs.unit() * 2, inputs.unit() * 3,
                                        inputs.unit() * 300};
        digest.add(pack_colour(four));
        digest.add(pack_factors(four));
    }
    return digest;
}

} // namespace

int main() {
    decompositions().print("decomposition");
    inverses().print("inverse");
    decimals().print("decimals");
    skins().print("skins");
    spheres().print("spheres");
    colours().print("colours");
    vertex_orders().print("vertex orders");
}
