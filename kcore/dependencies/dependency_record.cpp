#include "kcore/dependencies/dependency_record.h"

#include "kcore/messages/messages.h"

#include <new>

namespace kestrel {

bool dependency_record_t::set_primary_source(std::string_view path) {
    if (!sources_.empty())
        msg_error("Attempt to set multiple primary sources.");
    return append(path);
}

bool dependency_record_t::add_dependency(std::string_view path) {
    if (sources_.empty())
        msg_error("Attempt to set dependency without setting the primary source first.");
    return append(path);
}

bool dependency_record_t::append(std::string_view path) {
    try {
        sources_.push_back(string_dyn_t(path));
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void dependency_record_t::clear() {
    version_.clear();
    sources_.clear();
}

} // namespace kestrel
