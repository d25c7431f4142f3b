#include "tools/gltf/gltf_accessors.h"

#include "tools/kmg/little_endian.h"

#include <algorithm>
#include <cmath>

namespace kestrel {

namespace {

size_t component_size(int type) {
    switch (type) {
    case TINYGLTF_COMPONENT_TYPE_BYTE:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
        return 1;
    case TINYGLTF_COMPONENT_TYPE_SHORT:
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
        return 2;
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
    case TINYGLTF_COMPONENT_TYPE_FLOAT:
        return 4;
    default:
        gltf_fail("componentType ", type, " is none of glTF's");
    }
}

bool is_unsigned(int type) {
    return type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE || type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT ||
           type == TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT;
}

// Matrices are columns, each of which begins at a multiple of four bytes.
struct element_layout_t {
    size_t columns;
    size_t rows;
    size_t component_size;
    size_t column_size;

    explicit element_layout_t(const tinygltf::Accessor &accessor)
        : component_size(kestrel::component_size(accessor.componentType)) {
        const int type = accessor.type;
        const bool matrix =
            type == TINYGLTF_TYPE_MAT2 || type == TINYGLTF_TYPE_MAT3 || type == TINYGLTF_TYPE_MAT4;
        rows = type == TINYGLTF_TYPE_SCALAR ? 1 : static_cast<size_t>(matrix ? type - 32 : type);
        columns = matrix ? rows : 1;
        column_size = rows * component_size;
        if (matrix)
            column_size = (column_size + 3) / 4 * 4;
    }
    size_t components() const { return columns * rows; }
    size_t size() const { return (columns - 1) * column_size + rows * component_size; }
};

template <class T>
T get(const std::byte *from) {
    T value;
    little_endian::get(from, value);
    return value;
}

// Calls with a function that reads one component, of the right type, so that the loops are compiled for each.
template <class visit_t>
void with_component_reader(int type, visit_t visit) {
    switch (type) {
    case TINYGLTF_COMPONENT_TYPE_BYTE:
        return visit([](const std::byte *from) { return static_cast<int8_t>(get<uint8_t>(from)); });
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_BYTE:
        return visit(get<uint8_t>);
    case TINYGLTF_COMPONENT_TYPE_SHORT:
        return visit([](const std::byte *from) { return static_cast<int16_t>(get<uint16_t>(from)); });
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_SHORT:
        return visit(get<uint16_t>);
    case TINYGLTF_COMPONENT_TYPE_UNSIGNED_INT:
        return visit(get<uint32_t>);
    default:
        return visit(get<float>);
    }
}

struct to_real_t {
    bool normalise;
    float operator()(float value) const { return value; }
    template <std::integral I>
    float operator()(I value) const {
        if (!normalise)
            return static_cast<float>(value);
        const double scaled = static_cast<double>(value) / static_cast<double>(std::numeric_limits<I>::max());
        return static_cast<float>(std::max(scaled, -1.0));
    }
};

struct to_integer_t {
    uint32_t operator()(auto value) const { return static_cast<uint32_t>(value); }
    uint32_t operator()(float) const { return 0; } // never: integers() has refused them
};

} // namespace

std::optional<int> attribute_of(const tinygltf::Primitive &primitive, const std::string &name) {
    const auto found = primitive.attributes.find(name);
    return found == primitive.attributes.end() ? std::nullopt : std::optional(found->second);
}

const tinygltf::Accessor &gltf_accessors_t::checked(int accessor) const {
    if (accessor < 0 || static_cast<size_t>(accessor) >= source_.document.accessors.size())
        gltf_fail("there is no accessor ", accessor);
    return source_.document.accessors[static_cast<size_t>(accessor)];
}

size_t gltf_accessors_t::components(int accessor) const {
    return element_layout_t(checked(accessor)).components();
}

void gltf_accessors_t::expect_components(int accessor, size_t expected) const {
    if (const size_t found = components(accessor); found != expected)
        gltf_fail("accessors[", accessor, "] has ", found, " components where ", expected, " are expected");
}

std::span<const std::byte> gltf_accessors_t::view_bytes(int view, size_t &stride) const {
    if (view < 0 || static_cast<size_t>(view) >= source_.document.bufferViews.size())
        gltf_fail("there is no buffer view ", view);
    const tinygltf::BufferView &found = source_.document.bufferViews[static_cast<size_t>(view)];
    if (found.buffer < 0 || static_cast<size_t>(found.buffer) >= source_.buffers.size())
        gltf_fail("bufferViews[", view, "]: there is no buffer ", found.buffer);
    const std::span<const std::byte> buffer = source_.buffers[static_cast<size_t>(found.buffer)];
    if (found.byteOffset > buffer.size() || found.byteLength > buffer.size() - found.byteOffset)
        gltf_fail("bufferViews[", view, "] goes beyond the end of buffer ", found.buffer);
    stride = found.byteStride;
    return buffer.subspan(found.byteOffset, found.byteLength);
}

// Throws unless `count` elements of `size` bytes, `stride` bytes apart, lie within.
static std::span<const std::byte> elements_within(std::span<const std::byte> bytes, size_t offset,
                                                  size_t count, size_t size, size_t stride) {
    if (count == 0)
        return {};
    if (offset > bytes.size() || bytes.size() - offset < size ||
        (bytes.size() - offset - size) / stride < count - 1)
        gltf_fail("goes beyond the end of its buffer view");
    return bytes.subspan(offset);
}

template <class T, class convert_t>
std::vector<T> gltf_accessors_t::elements(int number, convert_t convert) const {
    const tinygltf::Accessor &accessor = checked(number);
    try {
        const element_layout_t layout(accessor);
        if (accessor.bufferView < 0) {
            if (accessor.count > most_elements_without_view)
                gltf_fail("has ", accessor.count, " elements without a buffer view; ",
                          most_elements_without_view, " are the most that is taken");
            std::vector<T> values(accessor.count * layout.components());
            overwrite_sparse(accessor, convert, values);
            return values;
        }
        size_t stride = 0;
        const auto view = view_bytes(accessor.bufferView, stride);
        if (stride == 0)
            stride = layout.size();
        if (stride < layout.size())
            gltf_fail("elements of ", layout.size(), " bytes only ", stride, " bytes apart");
        const auto bytes = elements_within(view, accessor.byteOffset, accessor.count, layout.size(), stride);
        std::vector<T> values(accessor.count * layout.components());
        with_component_reader(accessor.componentType, [&](auto read) {
            T *out = values.data();
            for (size_t i = 0; i < accessor.count; ++i)
                for (size_t c = 0; c < layout.columns; ++c)
                    for (size_t r = 0; r < layout.rows; ++r)
                        *out++ = convert(read(bytes.data() + i * stride + c * layout.column_size +
                                              r * layout.component_size));
        });
        overwrite_sparse(accessor, convert, values);
        return values;
    } catch (const gltf_error_t &error) {
        gltf_fail("accessors[", number, "]: ", error.what());
    }
}

template <class T, class convert_t>
void gltf_accessors_t::overwrite_sparse(const tinygltf::Accessor &accessor, convert_t convert,
                                        std::vector<T> &values) const {
    if (!accessor.sparse.isSparse)
        return;
    const auto &sparse = accessor.sparse;
    const element_layout_t layout(accessor);
    if (sparse.count < 0 || static_cast<size_t>(sparse.count) > accessor.count)
        gltf_fail("sparse.count is ", sparse.count, " of ", accessor.count, " elements");
    if (sparse.indices.byteOffset < 0 || sparse.values.byteOffset < 0)
        gltf_fail("sparse: a negative offset");
    const auto count = static_cast<size_t>(sparse.count);
    if (!is_unsigned(sparse.indices.componentType))
        gltf_fail("sparse.indices: componentType ", sparse.indices.componentType,
                  " where unsigned integers are expected");
    const size_t index_size = component_size(sparse.indices.componentType);
    size_t stride; // sparse data is never interleaved
    const auto indices =
        elements_within(view_bytes(sparse.indices.bufferView, stride),
                        static_cast<size_t>(sparse.indices.byteOffset), count, index_size, index_size);
    const auto replacements =
        elements_within(view_bytes(sparse.values.bufferView, stride),
                        static_cast<size_t>(sparse.values.byteOffset), count, layout.size(), layout.size());
    with_component_reader(sparse.indices.componentType, [&](auto read_index) {
        with_component_reader(accessor.componentType, [&](auto read) {
            for (size_t i = 0; i < count; ++i) {
                const auto at = static_cast<size_t>(read_index(indices.data() + i * index_size));
                if (at >= accessor.count)
                    gltf_fail("sparse index ", at, " of ", accessor.count, " elements");
                T *out = values.data() + at * layout.components();
                for (size_t c = 0; c < layout.columns; ++c)
                    for (size_t r = 0; r < layout.rows; ++r)
                        *out++ = convert(read(replacements.data() + i * layout.size() +
                                              c * layout.column_size + r * layout.component_size));
            }
        });
    });
}

std::vector<float> gltf_accessors_t::finite_reals(int accessor, bool normalise) const {
    auto values = elements<float>(accessor, to_real_t{normalise});
    const auto odd =
        std::find_if_not(values.begin(), values.end(), [](float value) { return std::isfinite(value); });
    if (odd != values.end())
        gltf_fail("accessors[", accessor, "]: element ",
                  static_cast<size_t>(odd - values.begin()) / components(accessor),
                  " is not a finite number");
    return values;
}

std::vector<float> gltf_accessors_t::reals(int accessor) const {
    return finite_reals(accessor, checked(accessor).normalized);
}
std::vector<float> gltf_accessors_t::plain_reals(int accessor) const {
    return finite_reals(accessor, false);
}

std::vector<uint32_t> gltf_accessors_t::integers(int accessor) const {
    const int type = checked(accessor).componentType;
    if (!is_unsigned(type))
        gltf_fail("accessors[", accessor, "]: componentType ", type, " where unsigned integers are expected");
    return elements<uint32_t>(accessor, to_integer_t{});
}

} // namespace kestrel
