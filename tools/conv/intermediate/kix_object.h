#pragma once

// What the models of all text formats share: objects, who owns them, and the Header.
//
// Every object of one conversion belongs to the conversion's owner list; pointers between objects never own.
// The list destroys its objects in the order in which they were created.

#include "kcore/collections/array.h"
#include "kcore/strings/string.h"

#include <memory>

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
    ~owner_list_t() {
        for (kix_object_t *object : objects_)
            delete object;
    }

    size_t size() const { return objects_.size(); }

    // The factory of every class.
    template <class T>
    T *create() {
        auto object = std::make_unique<T>();
        objects_.push_back(object.get());
        return object.release();
    }

  private:
    array_dyn_t<kix_object_t *> objects_;
};

struct kix_header_t : kix_object_t {
    uint32_t format_version = 0;
    name_t source;
    name_t type;
    name_t name;
};

} // namespace kestrel
