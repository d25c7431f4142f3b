#include "tools/conv/intermediate/kix_object.h"

namespace kestrel {

owner_list_t::~owner_list_t() {
    for (kix_object_t *object : objects_)
        delete object;
}

} // namespace kestrel
