#include "tools/kmg/token_text.h"

#include "kcore/strings/string.h"
#include "kcore/strings/token.h"

namespace kestrel {

std::string token_text(uint64_t value) {
    string_local_t<token_t::max_length + 1> name;
    token_t(value).to_string(name);
    return std::string(name.view());
}

bool is_token(uint64_t value) {
    return token_t::from_string(token_text(value)) == token_t(value);
}

} // namespace kestrel
