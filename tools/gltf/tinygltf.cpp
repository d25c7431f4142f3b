// The glTF library, built in, so that kmg2glb runs where no such package is installed.

#define TINYGLTF_IMPLEMENTATION
#include <tiny_gltf.h>
