#pragma once

// What attributes that reach units through a resource leave everything to. One object is installed for the
// process; a program that has resources derives its own. This base, installed at first, can do nothing: using
// an operation that the derived class lacks is fatal.

#include "kcore/collections/array.h"
#include "kcore/units/unit.h"

namespace kestrel {

class unit_resource_tie_t {
  public:
    virtual ~unit_resource_tie_t() = default;

    virtual bool get_resource_name(const unit_t &, mstring_t &) {
        refuse(__LINE__, __func__, "Can not support querying names of resources.");
    }
    virtual bool is_resource_unit(const unit_t &) { return true; }

    virtual void destroy_scalar(unit_t &, const unit_attribute_t &) {
        refuse(__LINE__, __func__, "Resource tie is unable to destroy itself.");
    }
    virtual void destroy_array(unit_t &, const unit_attribute_t &) {
        refuse(__LINE__, __func__, "Resource tie is unable to destroy itself.");
    }
    virtual bool clone_scalar(const unit_t &, const unit_attribute_t &, unit_t &) {
        refuse(__LINE__, __func__, "Resource tie is unable to clone itself.");
    }
    virtual bool clone_array(const unit_t &, const unit_attribute_t &, unit_t &) {
        refuse(__LINE__, __func__, "Resource tie is unable to clone itself.");
    }

    virtual unit_t *obtain_resource(std::string_view, const unit_class_t &) {
        refuse(__LINE__, __func__, "Can not load the resource tie.");
    }
    virtual void reclaim_resource(unit_t *resource) {
        if (resource)
            refuse(__LINE__, __func__, "Can not unload the resource tie.");
    }

    // On arrays of ties; a number is that of an element.
    virtual void remove_value(unit_t &, const unit_attribute_t &, size_t) {
        refuse(__LINE__, __func__, "Can not remove element from array of resource ties.");
    }
    virtual size_t get_size(const unit_t &, const unit_attribute_t &) {
        refuse(__LINE__, __func__, "Can not query the size of array of resource ties.");
    }
    virtual bool request_capacity(unit_t &, const unit_attribute_t &, size_t) {
        refuse(__LINE__, __func__, "Can not change capacity of array of resource ties.");
    }

    virtual unit_t *get_value_scalar(const unit_t &, const unit_attribute_t &) {
        refuse(__LINE__, __func__, "Can not get resource tie attribute value.");
    }
    virtual unit_t *get_value_element(const unit_t &, const unit_attribute_t &, size_t) {
        refuse(__LINE__, __func__, "Can not get resource tie attribute value.");
    }
    virtual bool get_value_array(const unit_t &, const unit_attribute_t &, array_dyn_t<unit_t *> &) {
        refuse(__LINE__, __func__, "Can not get the resource tie array copy.");
    }
    virtual bool set_value_scalar(unit_t &, const unit_attribute_t &, unit_t *) {
        refuse(__LINE__, __func__, "Can not set the resource tie attribute value.");
    }
    virtual bool set_value_element(unit_t &, const unit_attribute_t &, size_t, unit_t *) {
        refuse(__LINE__, __func__, "Can not set the resource tie attribute value.");
    }
    virtual bool append_value(unit_t &, const unit_attribute_t &, unit_t *) {
        refuse(__LINE__, __func__, "Can not append the resource tie attribute value.");
    }
    virtual bool prepend_value(unit_t &, const unit_attribute_t &, unit_t *) {
        refuse(__LINE__, __func__, "Can not prepend the resource tie attribute value.");
    }

  private:
    [[noreturn]] static void refuse(uint32_t line, const char *operation, const char *text);
};

// The installed one. Installing is for the start of a program; null installs the base again.
unit_resource_tie_t &unit_resource_tie();
void install_unit_resource_tie(unit_resource_tie_t *tie);

} // namespace kestrel
