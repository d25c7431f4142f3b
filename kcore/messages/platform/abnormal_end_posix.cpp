#include "kcore/messages/platform/abnormal_end.h"

#include <cstdlib>

namespace kestrel {

void end_abnormally() {
    std::abort();
}

} // namespace kestrel
