#include "kcore/strings/token.h"
#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace kestrel {

static bool fill_locator(const kmg_writer_t &writer, const kim_locator_t &locator, kmg_locator_t &record) {
    const auto name = token_t::from_string(locator.name.view());
    if (!name)
        return msg_error("[kim2kmg] %s: locator name '%s' invalid (cannot be token)", writer.source_name(),
                         locator.name.c_str());
    const float3_t &scale = locator.scale;
    if (scale.x <= 0 || scale.y <= 0 || scale.z <= 0)
        return msg_error("[kim2kmg] %s: locator name '%s' has invalid (negative or zero) scale",
                         writer.source_name(), locator.name.c_str());
    record.name = name->value();
    record.position = {locator.position.x, locator.position.y, locator.position.z};
    record.scale = 1.0f;
    std::copy(std::begin(locator.rotation), std::end(locator.rotation), record.rotation.begin());
    record.hookup = writer.string_pool.offset_of(locator.hookup.view());
    return true;
}

bool build_locators(kmg_writer_t &writer) {
    const auto &locators = writer.model.locators;
    size_t filled = 0;
    for (const kix_part_t *part : writer.model.parts) {
        for (const uint32_t position : part->locators) {
            if (position >= locators.size())
                return msg_error("[kim2kmg] %s: part '%s' lists locator %u of %u", writer.source_name(),
                                 part->name.c_str(), position, writer.header.locator_count);
            if (filled == locators.size())
                return msg_error("[kim2kmg] %s: the parts list more locators than the model has (%u)",
                                 writer.source_name(), writer.header.locator_count);
            if (!fill_locator(writer, *locators[position], writer.locators[filled++]))
                return false;
        }
    }
    return true;
}

bool build_parts(kmg_writer_t &writer) {
    uint32_t first_piece = 0;
    uint32_t first_locator = 0;
    for (size_t i = 0; i < writer.parts.size(); ++i) {
        const kix_part_t &part = *writer.model.parts[i];
        const auto name = token_t::from_string(part.name.view());
        if (!name)
            return msg_error("[kim2kmg] %s: part name '%s' invalid (cannot be token)", writer.source_name(),
                             part.name.c_str());
        const auto piece_count = static_cast<uint32_t>(part.pieces.size());
        const auto locator_count = static_cast<uint32_t>(part.locators.size());
        writer.parts[i] = {name->value(), piece_count, first_piece, locator_count, first_locator};
        first_piece += piece_count;
        first_locator += locator_count;
    }
    return true;
}

// Listing one large piece again and again would make a small file ask for gigabytes.
static bool check_repetition(const kmg_writer_t &writer) {
    constexpr uint64_t most_repetition = 8;
    constexpr uint64_t always_allowed = 65536;
    const auto size_of = [](uint64_t sum, const kix_piece_t *piece) {
        return sum + piece->vertex_count + piece->triangle_count;
    };
    const auto &pieces = writer.model.pieces;
    const uint64_t held = std::accumulate(pieces.begin(), pieces.end(), uint64_t{0}, size_of);
    const uint64_t listed =
        std::accumulate(writer.piece_order.begin(), writer.piece_order.end(), uint64_t{0}, size_of);
    if (listed <= std::max(held * most_repetition, always_allowed))
        return true;
    return msg_error(
        "[kim2kmg] %s: the parts list pieces so often that the geometry would be %I64u times the model's",
        writer.source_name(), listed / std::max(held, uint64_t{1}));
}

bool build_piece_order(kmg_writer_t &writer) {
    const auto &pieces = writer.model.pieces;
    writer.piece_order.reserve(pieces.size());
    array_dyn_t<bool> seen;
    seen.resize(pieces.size());
    size_t listed = 0;
    for (const kix_part_t *part : writer.model.parts) {
        for (const uint32_t position : part->pieces) {
            if (position >= pieces.size())
                return msg_error("[kim2kmg] %s: part '%s' lists piece %u of %u", writer.source_name(),
                                 part->name.c_str(), position, writer.header.piece_count);
            if (listed++ < pieces.size())
                writer.piece_order.push_back(pieces[position]);
            writer.has_repeated_pieces |= std::exchange(seen[position], true);
        }
    }
    if (listed != pieces.size())
        return msg_error("[kim2kmg] %s: incomplete piece <-> part assignment! Re-export!",
                         writer.source_name());
    return check_repetition(writer);
}

} // namespace kestrel
