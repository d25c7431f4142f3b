#include "tools/conv/kim2kmg/writer/kmg_writer.h"

#include "tools/conv/kim2kmg/writer/bounds.h"
#include "tools/conv/kim2kmg/writer/kmg_writer_steps.h"

namespace kestrel {

namespace {

void build_string_pool(kmg_writer_t &writer) {
    for (const kim_locator_t *locator : writer.model.locators)
        if (!locator->hookup.empty())
            writer.string_pool.add(locator->hookup.view());
}

// The counts and the places of the sections before the vertex data.
bool build_header(kmg_writer_t &writer) {
    const kim_t &model = writer.model;
    kmg_header_t &header = writer.header;
    uint64_t end = kmg_header_t::size;
    bool fits = true;
    const auto place = [&](uint32_t &offset, uint64_t bytes) {
        offset = static_cast<uint32_t>(end);
        end += bytes;
        fits = fits && end < kmg_absent;
    };
    header.signature = kmg_signature;
    header.piece_count = static_cast<uint32_t>(model.pieces.size());
    header.part_count = static_cast<uint32_t>(model.parts.size());
    header.bone_count = static_cast<uint32_t>(model.bone_names.size());
    header.influence_count = header.bone_count != 0 ? kmg_max_influences : 0;
    header.locator_count = static_cast<uint32_t>(model.locators.size());
    header.skeleton_hash = writer.skeleton ? writer.skeleton->hash : 0;
    const uint64_t pool_size = aligned_section_size(writer.string_pool.length());
    place(header.bones_offset, kmg_bone_data_t::size * model.bone_names.size());
    place(header.parts_offset, kmg_part_t::size * model.parts.size());
    place(header.locators_offset, kmg_locator_t::size * model.locators.size());
    place(header.pieces_offset, kmg_piece_t::size * model.pieces.size());
    place(header.string_pool_offset, pool_size);
    place(header.vertex_data_offset, 0);
    header.string_pool_size = static_cast<uint32_t>(pool_size);
    return fits || geometry_too_large(writer);
}

bool check_limits(const kmg_writer_t &writer) {
    if (writer.header.bone_count > kmg_max_bones)
        return msg_error("[kim2kmg] %s: bone count %u exceeds the max amount of supported bones (%d)",
                         writer.source_name(), writer.header.bone_count, static_cast<int>(kmg_max_bones));
    if (writer.header.part_count == 0)
        return msg_error("[kim2kmg] %s: no parts present!", writer.source_name());
    return true;
}

void size_records(kmg_writer_t &writer) {
    const kmg_header_t &header = writer.header;
    writer.bones.resize(header.bone_count);
    writer.parts.resize(header.part_count);
    writer.locators.resize(header.locator_count);
    writer.pieces.resize(header.piece_count);
    writer.vertex_orders.resize(header.piece_count);
}

void build_bounds(kmg_writer_t &writer) {
    bounds_t bounds;
    for (const kix_piece_t *piece : writer.model.pieces)
        bounds.add(positions_of(*piece));
    writer.header.sphere = bounds.sphere();
    writer.header.box = bounds.box();
}

bool build(kmg_writer_t &writer) {
    build_string_pool(writer);
    if (!build_header(writer) || !check_limits(writer))
        return false;
    size_records(writer);
    if (!build_bones(writer) || !build_locators(writer) || !build_parts(writer))
        return false;
    build_bounds(writer);
    if (!build_piece_order(writer))
        return false;
    if (writer.has_bones() && !writer.skin.build(writer.model, writer.skeleton))
        return false;
    return build_pieces(writer) && relocate_pieces(writer);
}

void spend_skins(kim_t &model) {
    for (kim_piece_skin_t *skin : model.piece_skins)
        skin->release();
    if (model.skin)
        for (kim_skin_stream_t *stream : model.skin->streams)
            stream->release();
}

template <class R>
bool write_records(std::span<const R> records, const char *section, file_t &destination) {
    array_dyn_t<std::byte> bytes;
    bytes.resize(records.size() * R::size);
    for (size_t i = 0; i < records.size(); ++i)
        pack(records[i], bytes.items().subspan(i * R::size).template first<R::size>());
    return destination.write(bytes.items()) || write_failed(destination, section);
}

bool write_string_pool(const kmg_writer_t &writer, file_t &destination) {
    for (const auto &[text, offset] : writer.string_pool.texts())
        // With the NUL that follows each text where it comes from.
        if (!destination.write(std::as_bytes(std::span(text.data(), text.size() + 1))))
            return write_failed(destination, "string pool data");
    return write_padding(writer.string_pool.length(), destination);
}

bool write_pieces(const kmg_writer_t &writer, file_t &destination) {
    const size_t count = writer.piece_order.size();
    piece_buffers_t buffers;
    for (size_t i = 0; i < count; ++i)
        if (!write_vertex_data(writer, i, buffers, destination))
            return false;
    for (size_t i = 0; i < count; ++i)
        if (!write_index_data(writer, i, buffers, destination))
            return false;
    return true;
}

bool write(const kmg_writer_t &writer, file_t &destination) {
    const std::span<const kmg_header_t> header(&writer.header, 1);
    return write_records(header, "header", destination) &&
           write_records(writer.bones.items(), "bone data", destination) &&
           write_records(writer.parts.items(), "parts data", destination) &&
           write_records(writer.locators.items(), "locators data", destination) &&
           write_records(writer.pieces.items(), "piece data", destination) &&
           write_string_pool(writer, destination) && write_pieces(writer, destination);
}

} // namespace

bool write_padding(uint64_t bytes, file_t &destination) {
    static constexpr std::byte zeros[kmg_section_alignment]{};
    if (destination.write(std::span(zeros).first(aligned_section_size(bytes) - bytes)))
        return true;
    return msg_error("[kim2kmg] %s: Failed to write the padding.", display_name_of(&destination).c_str());
}

bool geometry_too_large(const kmg_writer_t &writer) {
    return msg_error("[kim2kmg] %s: the geometry takes more than 4 GiB", writer.source_name());
}

bool write_failed(const file_t &destination, const char *what) {
    return msg_error("[kim2kmg] %s: error writing %s", display_name_of(&destination).c_str(), what);
}

static bool build_and_write(kmg_writer_t writer, file_t &destination) {
    if (!build(writer))
        return false;
    if (writer.spent)
        spend_skins(*writer.spent);
    return write(writer, destination);
}

bool kmg_write(const kim_t &model, const kis_t *skeleton, bool tangents, file_t &destination) {
    return build_and_write({model, skeleton, tangents, nullptr}, destination);
}

bool kmg_write(kim_t &&model, const kis_t *skeleton, bool tangents, file_t &destination) {
    return build_and_write({model, skeleton, tangents, &model}, destination);
}

} // namespace kestrel
