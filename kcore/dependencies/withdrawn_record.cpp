#include "kcore/dependencies/withdrawn_record.h"

#include "kcore/messages/messages.h"

namespace kestrel {

bool withdrawn_record_t::withdraw() {
    fs_stat_t found;
    if (!store_.stat(path_, found)) {
        store_.remove_file(path_); // nothing is there, or nothing can be known of it
        return true;
    }
    if (found.kind != fs_kind_t::file)
        return true;
    if (renamed_.assign(path_) && renamed_.append("~") && store_.move_file(path_, renamed_.view(), true))
        return true;
    renamed_.clear();
    if (store_.remove_file(path_) || !store_.is_file(path_)) // another process may have been faster
        return true;
    msg_error("%s: failed to remove the old deps.", string_dyn_t(path_).c_str());
    return false;
}

void withdrawn_record_t::put_back() {
    if (!renamed_.empty() && !store_.move_file(renamed_.view(), path_, false))
        store_.remove_file(renamed_.view());
    renamed_.clear();
}

void withdrawn_record_t::drop() {
    if (!renamed_.empty())
        store_.remove_file(renamed_.view());
    renamed_.clear();
}

} // namespace kestrel
