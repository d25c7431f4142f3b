// print_models FOLDER COUNT SEED: writes random models of the generator, FOLDER/NUMBER/m.kim, each with its
// skeleton beside it. One seed gives the same models everywhere.

#include "fuzz/model_generator.h"

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

static void write(const std::filesystem::path &path, const std::string &content) {
    std::ofstream(path, std::ios::binary) << content;
}

int main(int argument_count, char **arguments) {
    unsigned count = 0, seed = 0;
    const auto read = [](std::string_view text, unsigned &value) {
        return std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc();
    };
    if (argument_count != 4 || !read(arguments[2], count) || !read(arguments[3], seed)) {
        std::fputs("usage: print_models FOLDER COUNT SEED\n", stderr);
        return 2;
    }
    std::mt19937 random(seed);
    for (unsigned m = 0; m < count; ++m) {
        std::vector<uint8_t> decisions(64 + random() % 4000);
        for (uint8_t &decision : decisions)
            decision = static_cast<uint8_t>(random());
        kestrel::choices_t choices(decisions);
        const kestrel::generated_model_t generated = kestrel::generate_model(choices);
        const std::filesystem::path folder = std::filesystem::path(arguments[1]) / std::to_string(m);
        std::filesystem::create_directories(folder);
        write(folder / "m.kim", generated.model);
        write(folder / "s.kis", generated.skeleton);
    }
}
