#include "kcore/units/unit_resource_tie.h"

#include "kcore/messages/messages.h"
#include "kcore/strings/string.h"

namespace kestrel {

[[noreturn]] static void refuse(uint32_t line, const char *operation, const char *text) {
    string_local_t<64> function;
    function.assign_formatted("kestrel::unit_resource_tie_t::%s", operation);
    report_fatal({"kcore/units/unit_resource_tie", line, function.c_str()}, "[unit] %s", text);
}

bool unit_resource_tie_t::get_resource_name(const unit_t &, mstring_t &) {
    refuse(__LINE__, __func__, "Can not support querying names of resources.");
}

bool unit_resource_tie_t::is_resource_unit(const unit_t &) {
    return true;
}

void unit_resource_tie_t::destroy_scalar(unit_t &, const unit_attribute_t &) {
    refuse(__LINE__, __func__, "Resource tie is unable to destroy itself.");
}

void unit_resource_tie_t::destroy_array(unit_t &, const unit_attribute_t &) {
    refuse(__LINE__, __func__, "Resource tie is unable to destroy itself.");
}

bool unit_resource_tie_t::clone_scalar(const unit_t &, const unit_attribute_t &, unit_t &) {
    refuse(__LINE__, __func__, "Resource tie is unable to clone itself.");
}

bool unit_resource_tie_t::clone_array(const unit_t &, const unit_attribute_t &, unit_t &) {
    refuse(__LINE__, __func__, "Resource tie is unable to clone itself.");
}

unit_t *unit_resource_tie_t::obtain_resource(std::string_view, const unit_class_t &) {
    refuse(__LINE__, __func__, "Can not load the resource tie.");
}

void unit_resource_tie_t::reclaim_resource(unit_t *resource) {
    if (resource)
        refuse(__LINE__, __func__, "Can not unload the resource tie.");
}

void unit_resource_tie_t::remove_value(unit_t &, const unit_attribute_t &, size_t) {
    refuse(__LINE__, __func__, "Can not remove element from array of resource ties.");
}

size_t unit_resource_tie_t::get_size(const unit_t &, const unit_attribute_t &) {
    refuse(__LINE__, __func__, "Can not query the size of array of resource ties.");
}

bool unit_resource_tie_t::request_capacity(unit_t &, const unit_attribute_t &, size_t) {
    refuse(__LINE__, __func__, "Can not change capacity of array of resource ties.");
}

unit_t *unit_resource_tie_t::get_value_scalar(const unit_t &, const unit_attribute_t &) {
    refuse(__LINE__, __func__, "Can not get resource tie attribute value.");
}

unit_t *unit_resource_tie_t::get_value_element(const unit_t &, const unit_attribute_t &, size_t) {
    refuse(__LINE__, __func__, "Can not get resource tie attribute value.");
}

bool unit_resource_tie_t::get_value_array(const unit_t &, const unit_attribute_t &, array_dyn_t<unit_t *> &) {
    refuse(__LINE__, __func__, "Can not get the resource tie array copy.");
}

bool unit_resource_tie_t::set_value_scalar(unit_t &, const unit_attribute_t &, unit_t *) {
    refuse(__LINE__, __func__, "Can not set the resource tie attribute value.");
}

bool unit_resource_tie_t::set_value_element(unit_t &, const unit_attribute_t &, size_t, unit_t *) {
    refuse(__LINE__, __func__, "Can not set the resource tie attribute value.");
}

bool unit_resource_tie_t::append_value(unit_t &, const unit_attribute_t &, unit_t *) {
    refuse(__LINE__, __func__, "Can not append the resource tie attribute value.");
}

bool unit_resource_tie_t::prepend_value(unit_t &, const unit_attribute_t &, unit_t *) {
    refuse(__LINE__, __func__, "Can not prepend the resource tie attribute value.");
}

static unit_resource_tie_t *installed = nullptr;

unit_resource_tie_t &unit_resource_tie() {
    static unit_resource_tie_t base;
    return installed ? *installed : base;
}

void install_unit_resource_tie(unit_resource_tie_t *tie) {
    installed = tie;
}

} // namespace kestrel
