// Any bytes as a text model. What parses keeps what the model promises; a window of another size gives the
// same model and the same messages; and text whose tokens stand one to a line, which closes the short way
// through runs of items, gives the same model.

#include "fuzz/text_input.h"

#include <algorithm>
#include <string>

namespace kestrel {

static void check_stream(const kix_stream_t *stream, uint32_t count) {
    promise(stream, "a parsed piece has its streams");
    promise(stream->is_allocated() || count == 0, "a stream with items has storage");
    promise(stream->count() == count, "a stream has as many items as its piece declares");
    promise(stream->bytes().size() == size_t{count} * stream->item_size(), "items are packed");
}

static void check_model(const kim_t &model) {
    promise(model.header && model.global, "a parsed model has a header and a global paragraph");
    promise(model.pieces.size() == model.global->piece_count, "the pieces are as many as declared");
    promise(model.parts.size() == model.global->part_count && !model.parts.empty(), "so are the parts");
    promise(model.locators.size() == model.global->locator_count, "so are the locators");
    promise(!model.skin || model.piece_skins.empty(), "a model has one kind of skin");
    promise(model.piece_skins.empty() || model.piece_skins.size() == model.pieces.size(),
            "every piece has a skin or none has");
    for (const kix_piece_t *piece : model.pieces) {
        promise(piece->streams.size() == piece->stream_count, "a piece has as many streams as declared");
        for (const kix_stream_t *stream : piece->streams)
            check_stream(stream, piece->vertex_count);
        check_stream(piece->triangles, piece->triangle_count);
    }
    for (const kim_piece_skin_t *skin : model.piece_skins) {
        promise(skin->vertex_items.size() == skin->vertex_indices.size(), "vertex indices stay in the table");
        for (const kim_piece_skin_item_t &item : skin->items) {
            promise(size_t{item.first_weight} + item.weight_count <= skin->weights.size(),
                    "an item's weights are there");
            promise(size_t{item.first_vertex_index} + item.vertex_index_count <= skin->vertex_indices.size(),
                    "an item's vertex indices are there");
        }
    }
    if (model.skin)
        for (const kim_skin_stream_t *stream : model.skin->streams)
            promise(stream->items().size() == stream->count(), "skin items and their values are as many");
}

// The same tokens, each followed by a comment. What begins no token stays before the token that follows it.
static std::string one_token_a_line(std::string_view text) {
    std::string spread;
    text_file_t file(text, "");
    scanner_t scanner(file, small_window(text));
    for (uint64_t start = 0; scanner.next() != token_kind_t::end_of_input; start = scanner.offset()) {
        const std::string_view token = scanner.token_text();
        promise(text.substr(scanner.token_offset(), token.size()) == token,
                "a token is where it is said to be");
        spread += text.substr(start, scanner.offset() - start);
        spread += " #\n";
    }
    return spread;
}

static bool same_bytes(std::span<const std::byte> a, std::span<const std::byte> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

static void check_same_geometry(const kim_t &a, const kim_t &b) {
    promise(a.pieces.size() == b.pieces.size(), "both ways give the same pieces");
    for (size_t p = 0; p < a.pieces.size(); ++p) {
        promise(same_bytes(a.pieces[p]->triangles->bytes(), b.pieces[p]->triangles->bytes()),
                "both ways give the same triangles");
        for (size_t s = 0; s < a.pieces[p]->streams.size(); ++s)
            promise(same_bytes(a.pieces[p]->streams[s]->bytes(), b.pieces[p]->streams[s]->bytes()),
                    "both ways give the same items");
    }
}

void fuzz_model_text(fuzz_input_t input) {
    const std::string_view text = text_of(input);
    const fuzz_parse_t<kim_t> parsed(text, text_window_t::usual_size, parse_model);
    const fuzz_parse_t<kim_t> windowed(text, small_window(text), parse_model);
    promise(parsed.root || parsed.errors != 0, "a refused model is reported");
    promise(!parsed.root == !windowed.root && parsed.messages == windowed.messages,
            "the window changes no message");
    if (!parsed.root)
        return;
    check_model(*parsed.root);
    check_same_geometry(*parsed.root, *windowed.root);
    const fuzz_parse_t<kim_t> spread(one_token_a_line(text), small_window(text), parse_model);
    promise(spread.root, "the long way accepts what the short way does");
    check_same_geometry(*parsed.root, *spread.root);
}

} // namespace kestrel
