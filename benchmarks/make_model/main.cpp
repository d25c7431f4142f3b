// make_model: writes a valid model of any size, for measuring.

#include "benchmarks/make_model/exchange_text.h"
#include "benchmarks/make_model/grid_text.h"

#include <charconv>
#include <cstring>
#include <filesystem>
#include <span>

using namespace kestrel;

namespace {

constexpr char usage[] = "Usage: make_model FILE [OPTIONS]\n"
                         "Writes a wavy grid as a text model (FILE ends in .kim), as Wavefront OBJ (.obj) or "
                         "as OGRE XML (.xml).\n\n"
                         "  -vertices N               about that many (1000000)\n"
                         "  -pieces N                 in that many pieces (as few as 16-bit indices allow)\n"
                         "  -numbers bits|decimals    how real numbers are written (bits)\n"
                         "  -skin none|model|pieces   one Skin, or a PieceSkin for each piece; the skeleton "
                         "goes beside FILE (none)\n"
                         "  -bones N                  of a skinned model, 1 to 255 (100)\n";

struct request_t {
    std::filesystem::path file;
    uint64_t vertices = 1000000;
    uint32_t pieces = 0;
    model_style_t style;
};

template <class T>
bool read_number(std::string_view text, T &value) {
    const auto [end, error] = std::from_chars(text.begin(), text.end(), value);
    return error == std::errc() && end == text.end();
}

template <class T>
bool read_choice(std::string_view text, std::initializer_list<std::string_view> names, T &value) {
    size_t number = 0;
    for (const std::string_view name : names) {
        if (text == name) {
            value = static_cast<T>(number);
            return true;
        }
        ++number;
    }
    return false;
}

bool read_numbers(std::string_view value, number_style_t &style) {
    style = value == "bits" ? number_style_t::bit_patterns : number_style_t::six_decimals;
    return value == "bits" || value == "decimals";
}

bool read_option(std::string_view option, std::string_view value, request_t &request) {
    if (option == "-vertices")
        return read_number(value, request.vertices);
    if (option == "-pieces")
        return read_number(value, request.pieces);
    if (option == "-numbers")
        return read_numbers(value, request.style.numbers);
    if (option == "-skin")
        return read_choice(value, {"none", "model", "pieces"}, request.style.skin);
    if (option == "-bones")
        return read_number(value, request.style.bones) && request.style.bones - 1 < 255;
    return false;
}

bool read_command_line(std::span<char *const> arguments, request_t &request) {
    if (arguments.size() < 2 || arguments.size() % 2 != 0)
        return false;
    request.file = arguments[1];
    for (size_t i = 2; i < arguments.size(); i += 2)
        if (!read_option(arguments[i], arguments[i + 1], request))
            return false;
    return true;
}

template <class write_t>
bool write_file(const std::filesystem::path &path, write_t write) {
    std::FILE *const file = std::fopen(path.c_str(), "wb");
    text_writer_t out([file](std::string_view bytes) {
        return std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    });
    if (file)
        write(out);
    const bool written = file && out.flush();
    if (!file || std::fclose(file) != 0 || !written) {
        std::fprintf(stderr, "make_model: cannot write %s: %s\n", path.c_str(), std::strerror(errno));
        return false;
    }
    return true;
}

bool write_files(const request_t &request, const grid_t &grid) {
    const std::string extension = request.file.extension();
    if (extension == ".obj")
        return write_file(request.file, [&](text_writer_t &out) { write_obj(grid, out); });
    if (extension == ".xml")
        return write_file(request.file, [&](text_writer_t &out) { write_ogre_xml(grid, out); });
    const std::filesystem::path skeleton = std::filesystem::path(request.file).replace_extension(".kis");
    const std::string skeleton_name = skeleton.filename();
    model_style_t style = request.style;
    style.skeleton = skeleton_name;
    if (style.skin != skin_style_t::none &&
        !write_file(skeleton, [&](text_writer_t &out) { write_skeleton(style.bones, out); }))
        return false;
    return write_file(request.file, [&](text_writer_t &out) { write_model(grid, style, out); });
}

} // namespace

int main(int argument_count, char **arguments) {
    request_t request;
    if (!read_command_line({arguments, static_cast<size_t>(argument_count)}, request)) {
        std::fputs(usage, stderr);
        return 2;
    }
    const auto grid = grid_t::plan(request.vertices, request.pieces);
    if (!grid) {
        std::fprintf(stderr, "make_model: no grid of %llu vertices in %u pieces of at most %u\n",
                     static_cast<unsigned long long>(request.vertices), request.pieces,
                     grid_t::most_piece_vertices);
        return 2;
    }
    return write_files(request, *grid) ? 0 : 1;
}
