#pragma once

// What an output was made from: the version of its conversion, its primary source and further dependencies.
//
// Sources are virtual paths, the primary one first. Adding out of order is reported and done all the same;
// adding gives false, changing nothing, when the memory cannot be had (setting the version throws).

#include "kcore/collections/array.h"
#include "kcore/strings/string_dyn.h"

#include <span>
#include <string_view>

namespace kestrel {

class dependency_record_t {
  public:
    void set_version(std::string_view version) { version_.assign(version); }
    bool set_primary_source(std::string_view path);
    bool add_dependency(std::string_view path);
    void clear();

    const string_dyn_t &version() const { return version_; }
    std::span<const string_dyn_t> sources() const { return sources_.items(); }

  private:
    bool append(std::string_view path);

    string_dyn_t version_;
    array_dyn_t<string_dyn_t> sources_;
};

} // namespace kestrel
