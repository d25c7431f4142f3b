#include "tools/conv/intermediate/kix_model.h"

namespace kestrel {

kix_stream_t *kix_piece_t::find_stream(std::string_view stream_tag) const {
    for (kix_stream_t *stream : streams)
        if (stream->tag.view() == stream_tag)
            return stream;
    return nullptr;
}

} // namespace kestrel
