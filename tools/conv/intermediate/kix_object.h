#pragma once

// What the parser creates, and who owns it.
//
// Every object of one conversion belongs to the conversion's owner list; pointers between objects never own.
// The list destroys its objects in the order in which they were created.

#include "kcore/collections/array.h"

#include <new>

namespace kestrel {

class kix_object_t {
  public:
    kix_object_t() = default;
    kix_object_t(const kix_object_t &) = delete;
    kix_object_t &operator=(const kix_object_t &) = delete;
    virtual ~kix_object_t() = default;
};

class owner_list_t {
  public:
    owner_list_t() = default;
    owner_list_t(const owner_list_t &) = delete;
    owner_list_t &operator=(const owner_list_t &) = delete;
    ~owner_list_t();

    size_t size() const { return objects_.size(); }

    // The factory of every class: none when memory cannot be had.
    template <class T>
    T *create() {
        T *object = new (std::nothrow) T;
        if (object && !objects_.push_back(object)) {
            delete object;
            return nullptr;
        }
        return object;
    }

  private:
    array_dyn_t<kix_object_t *> objects_;
};

} // namespace kestrel
