#include "tools/gltf/gltf_source.h"

#include "tools/kmg/little_endian.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

namespace kestrel {

namespace {

using json_t = nlohmann::json;

// No geometry needs a tenth of it.
constexpr int deepest_nesting = 100;

struct container_t {
    std::string_view json;
    std::optional<std::span<const std::byte>> binary; // the chunk that the first buffer may be
};

uint32_t word_at(std::span<const std::byte> bytes, size_t at) {
    uint32_t value;
    little_endian::get(bytes.data() + at, value);
    return value;
}

std::string_view text_of(std::span<const std::byte> bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

constexpr uint32_t glb_magic = 0x46546C67, json_chunk = 0x4E4F534A, binary_chunk = 0x004E4942;

container_t open_glb(std::span<const std::byte> file) {
    constexpr size_t header_size = 12, chunk_header_size = 8;
    if (file.size() < header_size + chunk_header_size)
        gltf_fail("the file ends within the header of a binary glTF");
    if (const uint32_t version = word_at(file, 4); version != 2)
        gltf_fail("a binary glTF of version ", version, "; 2 is read");
    const size_t length = word_at(file, 8);
    if (length > file.size())
        gltf_fail("the header promises ", length, " bytes and the file has ", file.size());
    container_t result;
    size_t at = header_size;
    for (size_t number = 0; at < length && number < 2; ++number) {
        const auto rest = file.subspan(at, length - at);
        if (rest.size() < chunk_header_size || word_at(rest, 0) > rest.size() - chunk_header_size)
            gltf_fail("chunk ", number, " goes beyond the end of the file");
        const auto chunk = rest.subspan(chunk_header_size, word_at(rest, 0));
        const uint32_t kind = word_at(rest, 4);
        if (number == 0 && kind != json_chunk)
            gltf_fail("the first chunk of the binary glTF is not JSON");
        if (kind == json_chunk)
            result.json = text_of(chunk);
        else if (kind == binary_chunk)
            result.binary = chunk;
        at += chunk_header_size + chunk.size();
    }
    return result;
}

container_t open_container(std::span<const std::byte> file) {
    if (file.size() >= 4 && word_at(file, 0) == glb_magic)
        return open_glb(file);
    std::string_view text = text_of(file);
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    return {text, std::nullopt};
}

json_t parse_json(std::string_view text) {
    try {
        return json_t::parse(text, [](int depth, json_t::parse_event_t, json_t &) {
            if (depth > deepest_nesting)
                gltf_fail("the JSON is nested deeper than ", deepest_nesting, " levels");
            return true;
        });
    } catch (const json_t::exception &error) {
        gltf_fail("no glTF: ", error.what());
    }
}

// Gone through member by member; null is what is not there or not such a list.
const json_t *list_of(const json_t &object, const char *name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_array() ? &*found : nullptr;
}
size_t size_of(const json_t &object, const char *name) {
    const json_t *const list = list_of(object, name);
    return list ? list->size() : 0;
}

// --- Extensions

// Those that change no geometry, or in a way that is read.
bool is_extension_read(std::string_view name) {
    if (name == "KHR_mesh_quantization" || name == "KHR_lights_punctual" || name == "KHR_xmp_json_ld")
        return true;
    return name.starts_with("KHR_materials_") || name.starts_with("KHR_texture_") ||
           name.starts_with("EXT_texture_") || name.starts_with("MSFT_texture_");
}

void check_extensions(const json_t &document, std::vector<std::string> &left_out) {
    std::vector<std::string> required;
    if (const json_t *const list = list_of(document, "extensionsRequired"))
        for (const json_t &name : *list)
            if (name.is_string()) {
                required.push_back(name.get<std::string>());
                if (!is_extension_read(required.back()))
                    gltf_fail("the file cannot be read without the extension ", required.back(),
                              ", which this program does not know");
            }
    if (const json_t *const list = list_of(document, "extensionsUsed"))
        for (const json_t &name : *list) {
            if (name == "KHR_texture_transform")
                left_out.push_back("KHR_texture_transform is ignored: texture coordinates are those of the "
                                   "vertices");
            else if (name.is_string() && !is_extension_read(name.get<std::string>()))
                left_out.push_back(concat("the extension ", name.get<std::string>(), " is ignored"));
        }
}

// --- Buffers

std::optional<std::vector<std::byte>> decode_base64(std::string_view text) {
    static constexpr auto values = [] {
        std::array<int8_t, 256> table{};
        table.fill(-1);
        constexpr std::string_view digits =
            "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (size_t i = 0; i < digits.size(); ++i)
            table[static_cast<uint8_t>(digits[i])] = static_cast<int8_t>(i);
        return table;
    }();
    while (text.ends_with('='))
        text.remove_suffix(1);
    std::vector<std::byte> bytes;
    bytes.reserve(text.size() / 4 * 3 + 2);
    uint32_t bits = 0;
    int held = 0;
    for (const char character : text) {
        const int8_t value = values[static_cast<uint8_t>(character)];
        if (value < 0)
            return std::nullopt;
        bits = bits << 6 | static_cast<uint32_t>(value);
        held += 6;
        if (held >= 8) {
            held -= 8;
            bytes.push_back(static_cast<std::byte>(bits >> held & 255));
        }
    }
    return bytes;
}

// "%20" and the like as the bytes that they stand for.
std::string decode_percents(std::string_view uri) {
    std::string name;
    for (size_t i = 0; i < uri.size(); ++i) {
        unsigned value = 0;
        const char *const digits = uri.data() + i + 1;
        if (uri[i] == '%' && i + 2 < uri.size() &&
            std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
            name += static_cast<char>(value);
            i += 2;
        } else {
            name += uri[i];
        }
    }
    return name;
}

std::vector<std::byte> bytes_of_uri(std::string_view uri, const gltf_neighbour_t &neighbour) {
    if (!uri.starts_with("data:"))
        return neighbour(decode_percents(uri));
    constexpr std::string_view marker = ";base64,";
    const size_t at = uri.substr(0, 200).find(marker);
    if (at == std::string_view::npos)
        gltf_fail("the data URI is not base64");
    auto bytes = decode_base64(uri.substr(at + marker.size()));
    if (!bytes)
        gltf_fail("the data URI holds characters that are not base64");
    return std::move(*bytes);
}

std::vector<std::byte> load_buffer(const json_t &buffer, bool first, const container_t &container,
                                   const gltf_neighbour_t &neighbour) {
    const auto length = buffer.find("byteLength");
    if (length == buffer.end() || !length->is_number_unsigned())
        gltf_fail("byteLength is not a whole number");
    std::vector<std::byte> bytes;
    if (const auto uri = buffer.find("uri"); uri != buffer.end() && uri->is_string())
        bytes = bytes_of_uri(uri->get_ref<const std::string &>(), neighbour);
    else if (first && container.binary)
        bytes.assign(container.binary->begin(), container.binary->end());
    else
        gltf_fail("has neither a uri nor a binary chunk");
    const auto promised = length->get<uint64_t>();
    if (promised > bytes.size())
        gltf_fail("byteLength is ", promised, " and there are only ", bytes.size(), " bytes");
    bytes.resize(static_cast<size_t>(promised));
    return bytes;
}

std::vector<std::vector<std::byte>> load_buffers(const json_t &document, const container_t &container,
                                                 const gltf_neighbour_t &neighbour) {
    std::vector<std::vector<std::byte>> buffers;
    if (const json_t *const list = list_of(document, "buffers"))
        for (const json_t &buffer : *list) {
            try {
                if (!buffer.is_object())
                    gltf_fail("is no object");
                buffers.push_back(load_buffer(buffer, buffers.empty(), container, neighbour));
            } catch (const gltf_error_t &error) {
                gltf_fail("buffers[", buffers.size(), "]: ", error.what());
            }
        }
    return buffers;
}

// --- The document

void note_what_is_left_out(const json_t &document, std::vector<std::string> &left_out) {
    const auto note = [&](size_t count, const char *what) {
        if (count > 0)
            left_out.push_back(concat(count, " ", what, count > 1 ? "s are" : " is", " left out"));
    };
    note(size_of(document, "animations"), "animation");
    note(size_of(document, "cameras"), "camera");
    if (const auto extensions = document.find("extensions");
        extensions != document.end() && extensions->is_object())
        if (const auto lights = extensions->find("KHR_lights_punctual");
            lights != extensions->end() && lights->is_object())
            note(size_of(*lights, "lights"), "light");
}

void move_indices_to_attributes(json_t &document) {
    if (!list_of(document, "meshes"))
        return;
    for (json_t &mesh : document["meshes"]) {
        if (!mesh.is_object() || !list_of(mesh, "primitives"))
            continue;
        for (json_t &primitive : mesh["primitives"])
            if (primitive.is_object() && primitive.contains("indices") && primitive.contains("attributes") &&
                primitive["attributes"].is_object()) {
                primitive["attributes"][gltf_source_t::indices_name] = primitive["indices"];
                primitive.erase("indices");
            }
    }
}

void check_version(const json_t &document) {
    const auto asset = document.find("asset");
    if (asset == document.end() || !asset->is_object() || !asset->contains("version") ||
        !asset->at("version").is_string())
        gltf_fail("no glTF: asset.version is missing");
    const auto &version = asset->at("version").get_ref<const std::string &>();
    if (!version.starts_with("2."))
        gltf_fail("glTF of version ", version, "; 2.0 is read");
}

// Materials keep their names and order, everything else about pictures goes.
void strip(json_t &document) {
    for (const char *name : {"buffers", "animations", "images", "textures", "samplers", "cameras",
                             "extensions", "extras", "extensionsUsed", "extensionsRequired"})
        document.erase(name);
    if (list_of(document, "materials"))
        for (json_t &material : document["materials"])
            if (material.is_object())
                material = material.contains("name") ? json_t{{"name", material["name"]}} : json_t::object();
}

} // namespace

gltf_source_t read_gltf(std::span<const std::byte> file, const gltf_neighbour_t &neighbour) {
    const container_t container = open_container(file);
    json_t document = parse_json(container.json);
    if (!document.is_object())
        gltf_fail("no glTF: the JSON is not an object");
    check_version(document);
    gltf_source_t source;
    check_extensions(document, source.left_out);
    source.buffers = load_buffers(document, container, neighbour);
    note_what_is_left_out(document, source.left_out);
    move_indices_to_attributes(document);
    strip(document);

    const std::string text = document.dump();
    std::string error, warning;
    if (text.size() > std::numeric_limits<unsigned>::max() ||
        !tinygltf::TinyGLTF().LoadASCIIFromString(&source.document, &error, &warning, text.data(),
                                                  static_cast<unsigned>(text.size()), "",
                                                  tinygltf::NO_REQUIRE)) {
        std::replace(error.begin(), error.end(), '\n', ' ');
        gltf_fail("no valid glTF: ", error);
    }
    return source;
}

} // namespace kestrel
