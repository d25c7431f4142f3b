#include "tools/conv/kim2kmg/output_and_old_record.h"

#include "kcore/messages/messages.h"

namespace kestrel {

std::unique_ptr<file_t> open_in(sysfs_device_t &store, std::string_view path, fs_open_mode_t mode) {
    auto file = store.open(path, mode);
    if (file)
        file->set_path_kind(fs_path_kind_t::ufs);
    return file;
}

// What is there and is no file is no record either: it will be in the way of the new one.
static bool remove_record(sysfs_device_t &store, std::string_view path) {
    fs_stat_t found;
    return (store.stat(path, found) && found.kind != fs_kind_t::file) || store.remove_old(path);
}

new_output_t::new_output_t(rcfs_device_t &device, const char *path) : device_(device), path_(path) {
    if (device.cache_store().remove_old(path) && remove_record(device.dependency_store(), path))
        file_ = open_in(device.cache_store(), path, fs_open_mode_t::create_truncate);
}

new_output_t::~new_output_t() {
    if (!file_)
        return;
    file_.reset();
    device_.remove_file(path_);
}

// Another converter may be at work on the same output. Having removed the one of this run, it removes the
// record and writes its own; so when this run finds the name taken, it vouches for nothing, and takes back
// what it wrote too late.
bool new_output_t::keep(uint64_t size, const dependency_record_t &record) {
    if (has_still_its_name(size)) {
        if (!write_dependency_file(device_, record, path_))
            return msg_error("%s: failed to write deps.", path_);
        if (!has_still_its_name(size))
            device_.dependency_store().remove_old(path_);
    }
    file_.reset();
    return true;
}

// As far as the size tells: another's output is shorter until it is whole.
bool new_output_t::has_still_its_name(uint64_t size) {
    fs_stat_t found;
    return device_.cache_store().stat(path_, found) && found.size == size;
}

} // namespace kestrel
