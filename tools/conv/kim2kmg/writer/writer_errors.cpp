#include "tools/conv/kim2kmg/writer/writer_errors.h"

#include "kcore/messages/messages.h"

namespace kestrel {

bool out_of_memory(const kim_t &model) {
    msg_error("[kim2kmg] %s: memory exhausted", model.source_name.c_str());
    return false;
}

bool geometry_too_large(const kim_t &model) {
    msg_error("[kim2kmg] %s: the geometry takes more than 4 GiB", model.source_name.c_str());
    return false;
}

bool write_failed(const file_t &destination, const char *what) {
    msg_error("[kim2kmg] %s: error writing %s", display_name_of(&destination).c_str(), what);
    return false;
}

} // namespace kestrel
