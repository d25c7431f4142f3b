#pragma once

// A glTF 2.0 file taken in: its document and its buffers, nothing of it trusted yet but that it is JSON.
//
// The glTF library gets no more than what geometry needs: no bytes, no images, no animations, and no document
// that is nested so deep that it would run out of stack.

#include "tools/kmg/concat.h"

#include <cstddef>
#include <functional>
#include <span>
#include <stdexcept>
#include <tiny_gltf.h>
#include <vector>

namespace kestrel {

// What is wrong with the file and where in it, a sentence without the file's name.
class gltf_error_t : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

template <class... A>
[[noreturn]] void gltf_fail(const A &...parts) {
    throw gltf_error_t(concat(parts...));
}

struct gltf_source_t {
    tinygltf::Model document;
    // The primitives' indices stand among their attributes under this name: the library refuses indices whose
    // values are all in a sparse accessor.
    static constexpr const char *indices_name = "indices";
    std::vector<std::vector<std::byte>> buffers;
    // What the document has and a model does not, a sentence each.
    std::vector<std::string> left_out;
};

// The bytes of a file beside the one being read; throws gltf_error_t when there is none to be had. `name` is
// the buffer's uri, decoded.
using gltf_neighbour_t = std::function<std::vector<std::byte>(const std::string &name)>;

// Throws gltf_error_t. `file` is a .glb or the text of a .gltf.
gltf_source_t read_gltf(std::span<const std::byte> file, const gltf_neighbour_t &neighbour);

} // namespace kestrel
