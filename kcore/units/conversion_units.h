#pragma once

// The units of a resource conversion configuration: rules of what to convert how, and what to leave out. They
// have no attributes yet; what reads such a configuration gives each class its table.

#include "kcore/units/unit.h"

namespace kestrel {

class config_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
};

class rulelist_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
};

class rule_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
};

class blacklist_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
};

class black_u final : public unit_t {
  public:
    static const unit_class_t unit_class;
    const unit_class_t &get_class() const override { return unit_class; }
};

// Adds the descriptions of these classes and of unit_t to the names that core_initialize has registered.
void describe_core_unit_classes();

} // namespace kestrel
