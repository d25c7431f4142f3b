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

    virtual bool get_resource_name(const unit_t &resource, mstring_t &name);
    virtual bool is_resource_unit(const unit_t &unit);

    virtual void destroy_scalar(unit_t &unit, const unit_attribute_t &attribute);
    virtual void destroy_array(unit_t &unit, const unit_attribute_t &attribute);
    virtual bool clone_scalar(const unit_t &source, const unit_attribute_t &attribute, unit_t &target);
    virtual bool clone_array(const unit_t &source, const unit_attribute_t &attribute, unit_t &target);

    virtual unit_t *obtain_resource(std::string_view name, const unit_class_t &unit_class);
    virtual void reclaim_resource(unit_t *resource);

    // On arrays of ties.
    virtual void remove_value(unit_t &unit, const unit_attribute_t &attribute, size_t index);
    virtual size_t get_size(const unit_t &unit, const unit_attribute_t &attribute);
    virtual bool request_capacity(unit_t &unit, const unit_attribute_t &attribute, size_t capacity);

    virtual unit_t *get_value_scalar(const unit_t &unit, const unit_attribute_t &attribute);
    virtual unit_t *get_value_element(const unit_t &unit, const unit_attribute_t &attribute, size_t index);
    virtual bool get_value_array(const unit_t &unit, const unit_attribute_t &attribute,
                                 array_dyn_t<unit_t *> &values);
    virtual bool set_value_scalar(unit_t &unit, const unit_attribute_t &attribute, unit_t *value);
    virtual bool set_value_element(unit_t &unit, const unit_attribute_t &attribute, size_t index,
                                   unit_t *value);
    virtual bool append_value(unit_t &unit, const unit_attribute_t &attribute, unit_t *value);
    virtual bool prepend_value(unit_t &unit, const unit_attribute_t &attribute, unit_t *value);
};

// The installed one. Installing is for the start of a program; null installs the base again.
unit_resource_tie_t &unit_resource_tie();
void install_unit_resource_tie(unit_resource_tie_t *tie);

} // namespace kestrel
