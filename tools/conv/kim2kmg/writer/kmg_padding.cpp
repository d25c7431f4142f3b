#include "tools/conv/kim2kmg/writer/kmg_padding.h"

#include "kcore/messages/messages.h"
#include "tools/kmg/kmg_format.h"

namespace kestrel {

bool write_padding(uint64_t bytes, file_t &destination) {
    static constexpr std::byte zeros[kmg_section_alignment]{};
    if (destination.write(std::span(zeros).first(aligned_section_size(bytes) - bytes)))
        return true;
    msg_error("[kim2kmg] %s: Failed to write the padding.", display_name_of(&destination).c_str());
    return false;
}

} // namespace kestrel
