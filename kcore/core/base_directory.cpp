#include "kcore/core/base_directory.h"

#include "kcore/core/platform/executable_path.h"
#include "kcore/strings/string_local.h"

namespace kestrel {

bool get_base_directory(mstring_t &destination) {
    name_t path;
    return get_executable_path(path) && get_base_directory_of(path.view(), destination);
}

bool get_base_directory_of(std::string_view program_path, mstring_t &destination) {
    name_t path;
    if (!path.assign(program_path))
        return false;
    path.replace_all('\\', '/');
    const size_t bin = path.view().rfind("/bin/");
    return bin != std::string_view::npos && destination.assign(path.view().substr(0, bin));
}

} // namespace kestrel
