#pragma once

#include <cstdint>
#include <string>

namespace kestrel {

// The name that a token of a file stands for; of a value that is no token, as many characters as it has.
std::string token_text(uint64_t value);

// Does packing the token's name give the value again?
bool is_token(uint64_t value);

} // namespace kestrel
