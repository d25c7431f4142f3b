#include "tests/support/temporary_directory.h"

#include <random>

namespace kestrel {

static std::string random_name() {
    constexpr char letters[] = "abcdefghijklmnop";
    std::random_device random;
    std::string name = "kim2kmg-";
    for (int i = 0; i < 8; ++i)
        name += letters[random() % 16];
    return name;
}

temporary_directory_t::temporary_directory_t() {
    do
        path_ = (std::filesystem::temp_directory_path() / random_name()).generic_string();
    while (!std::filesystem::create_directory(path_));
}

temporary_directory_t::~temporary_directory_t() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

} // namespace kestrel
