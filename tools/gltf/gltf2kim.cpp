// gltf2kim: turns glTF 2.0 into a text model, and a text skeleton when it is skinned, for the converter.

#include "kcore/messages/messages.h"
#include "kcore/strings/utf8_path.h"
#include "tools/gltf/gltf_import.h"
#include "tools/gltf/gltf_names.h"
#include "tools/gltf/imported_model_text.h"
#include "tools/kmg/command_line.h"

#include <algorithm>

namespace kestrel {

namespace fs = std::filesystem;

namespace {

constexpr const char *examples = R"(Examples:
  gltf2kim cab.glb                        writes cab.kim beside it, and cab.kis
                                          when the model is skinned
  gltf2kim cab.gltf model/truck/cab.kim
  gltf2kim --effects effects.txt cab.glb  a line "MATERIAL EFFECT" for each

Exit status: 0 when the files were written, 1 when the glTF file is broken or
cannot be made a model of, 2 when a file cannot be read or written, memory
runs out or the command line is wrong.
)";

struct request_t {
    std::string input, output, effects_file, numbers = "bits";
    gltf_import_options_t options;
};

// A file beside the input, and never one elsewhere, whatever links lead there.
class folder_t {
  public:
    explicit folder_t(const fs::path &input)
        : folder_(fs::weakly_canonical(fs::absolute(input)).parent_path()) {}

    std::vector<std::byte> read(const std::string &name) {
        std::error_code error;
        const fs::path relative = utf8_path(name);
        const fs::path real = fs::canonical(folder_ / relative, error);
        if (name.empty() || relative.is_absolute() || name.find("://") != std::string::npos ||
            name.find('\0') != std::string::npos)
            gltf_fail("\"", quotable(name), "\" is no file beside the glTF file");
        if (error)
            gltf_fail("the file \"", quotable(name), "\" is not there");
        const auto [folder_end, unused] =
            std::mismatch(folder_.begin(), folder_.end(), real.begin(), real.end());
        if (folder_end != folder_.end())
            gltf_fail("\"", quotable(name), "\" is outside the folder of the glTF file");
        if (!fs::is_regular_file(real, error))
            gltf_fail("\"", quotable(name), "\" is no regular file");
        auto bytes = read_file(utf8_text(real));
        if (!bytes)
            gltf_fail("\"", quotable(name), "\" cannot be read");
        read_.push_back(real);
        return std::move(*bytes);
    }
    const std::vector<fs::path> &files_read() const { return read_; }

  private:
    fs::path folder_;
    std::vector<fs::path> read_;
};

// Lines "MATERIAL EFFECT"; the effect is the last word, since names of materials may have blanks.
bool read_effects(const std::string &file, gltf_import_options_t &options) {
    const auto bytes = read_file(file);
    if (!bytes)
        return false;
    std::string_view rest(reinterpret_cast<const char *>(bytes->data()), bytes->size());
    for (size_t number = 1; !rest.empty(); ++number) {
        std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(rest.size(), line.size() + 1));
        constexpr std::string_view blanks = " \t\r";
        line = line.substr(0, line.find_last_not_of(blanks) + 1);
        if (line.empty() || line.starts_with('#'))
            continue;
        const size_t gap = line.find_last_of(blanks);
        const size_t name_end = gap == std::string_view::npos ? gap : line.find_last_not_of(blanks, gap);
        if (name_end == std::string_view::npos) {
            msg_error("%s:%u: a material and its effect are expected, and there is only \"%s\"", file.c_str(),
                      static_cast<unsigned>(number), std::string(line).c_str());
            return false;
        }
        options.effects.emplace_back(line.substr(0, name_end + 1), line.substr(gap + 1));
    }
    return true;
}

bool may_be_written(const fs::path &output, std::span<const fs::path> inputs) {
    std::error_code error;
    for (const fs::path &input : inputs)
        if (fs::equivalent(output, input, error)) {
            msg_error("%s: is a file that is read here and is not written over", utf8_text(output).c_str());
            return false;
        }
    return true;
}

std::unique_ptr<output_file_t> write_text(const fs::path &path, const imported_model_t &model,
                                          const model_text_style_t &style, auto write) {
    auto file = output_file_t::create(utf8_text(path));
    if (file) {
        text_writer_t out([&](std::string_view bytes) {
            file->write(std::as_bytes(std::span(bytes)));
            return true; // what fails shows when the file is committed
        });
        write(model, style, out);
        out.flush();
    }
    return file;
}

// Both stand complete before either appears.
bool write_files(const imported_model_t &model, const request_t &request) {
    const fs::path output = utf8_path(request.output);
    const fs::path skeleton_path = fs::path(output).replace_extension(".kis");
    const model_text_style_t style{quotable(utf8_text(output.stem())), utf8_text(skeleton_path.filename()),
                                   request.numbers == "bits" ? number_style_t::bit_patterns
                                                             : number_style_t::shortest_decimals};
    const auto model_file = write_text(output, model, style, write_model_text);
    if (model.bones.empty())
        return model_file && model_file->commit();
    if (quotable(style.skeleton) != style.skeleton) {
        msg_error("%s: a model cannot name a skeleton like that", utf8_text(skeleton_path).c_str());
        return false;
    }
    const auto skeleton_file = write_text(skeleton_path, model, style, write_skeleton_text);
    return model_file && skeleton_file && skeleton_file->commit() && model_file->commit();
}

int convert(request_t &request) {
    if (!request.effects_file.empty() && !read_effects(request.effects_file, request.options))
        return status_unreadable;
    const auto bytes = read_file(request.input);
    if (!bytes)
        return status_unreadable;
    folder_t folder(utf8_path(request.input));
    imported_model_t model;
    try {
        const gltf_source_t source =
            read_gltf(*bytes, [&](const std::string &name) { return folder.read(name); });
        model = import_gltf(source, request.options);
    } catch (const gltf_error_t &error) {
        msg_error("%s: %s", request.input.c_str(), error.what());
        return status_found;
    }
    for (const std::string &note : model.notes)
        msg_warning("%s: %s", request.input.c_str(), note.c_str());
    std::vector<fs::path> inputs = folder.files_read();
    inputs.push_back(utf8_path(request.input));
    const fs::path output = utf8_path(request.output);
    if (!may_be_written(output, inputs) ||
        (!model.bones.empty() && !may_be_written(fs::path(output).replace_extension(".kis"), inputs)))
        return status_unreadable;
    return write_files(model, request) ? status_good : status_unreadable;
}

} // namespace

} // namespace kestrel

int main(int argument_count, char **arguments) {
    using namespace kestrel;
    return run_tool("gltf2kim", [&]() -> int {
        request_t request;
        gltf_import_options_t &options = request.options;
        command_line_t line("gltf2kim",
                            "Turns glTF 2.0 (.glb, .gltf) into a text model (.kim) and skeleton (.kis).",
                            examples);
        line.add_option("FILE", request.input, "glTF file")->required();
        line.add_option("OUT", request.output, "what to write; FILE with the extension .kim when not given");
        line.add_option("--effect", options.effect, "effect of the materials (\"default\")")
            ->type_name("NAME");
        line.add_option("--effects", request.effects_file, "effects of materials by name; a line for each")
            ->type_name("TABLE");
        line.add_option("--numbers", request.numbers, "how real numbers are written: bits or decimals (bits)")
            ->check(CLI::IsMember({"bits", "decimals"}))
            ->type_name("STYLE");
        line.add_option("--scene", options.scene, "the scene to read, counted from 0")->type_name("NUMBER");
        line.add_flag("--tangents", options.tangents, "compute tangents where there are none");
        if (const auto status = line.parse(argument_count, arguments))
            return *status;
        if (request.output.empty())
            request.output = utf8_text(utf8_path(request.input).replace_extension(".kim"));
        if (utf8_path(request.output).extension() != ".kim") {
            msg_error("%s: a text model's name ends in .kim", request.output.c_str());
            return status_unreadable;
        }
        return convert(request);
    });
}
