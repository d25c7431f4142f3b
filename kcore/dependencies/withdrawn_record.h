#pragma once

// Takes the dependency file of an output out of its place before the output is touched, so that no record
// ever vouches for an output that is not whole, and puts it back when the output could not be touched after
// all.
//
// It is renamed, with "~" behind its name, which costs less than reading it and is undone in one step. A run
// that is killed meanwhile leaves the renamed file, which nobody reads and the next run replaces.

#include "kcore/ufs/rcfs_device.h"

namespace kestrel {

class withdrawn_record_t {
  public:
    // The device and the path's text outlive this.
    withdrawn_record_t(rcfs_device_t &device, std::string_view output_path)
        : store_(device.dependency_store()), path_(output_path) {}

    // False after a message when a record stays in its place. There need not be one.
    bool withdraw();
    // Undoes it, unless a new record stands there by now.
    void put_back();
    // The output has changed: the old record is of no use to anybody.
    void drop();

  private:
    sysfs_device_t &store_;
    std::string_view path_;
    string_dyn_t renamed_; // empty while nothing is withdrawn
};

} // namespace kestrel
