#include "kcore/core/base_directory.h"

#include "kcore/core/platform/executable_path.h"
#include "kcore/strings/string_local.h"

namespace kestrel {

bool get_base_directory(mstring_t &destination) {
    string_local_t<256> path;
    if (!get_executable_path(path))
        return false;
    path.replace_all('\\', '/');
    const size_t bin = path.view().rfind("/bin/");
    return bin != std::string_view::npos && destination.assign(path.view().substr(0, bin));
}

} // namespace kestrel
