# Debian's compiler for AArch64; what is built runs under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
# Version 12 takes the inlined parts of its own std::string for overlapping copies (its bug 105651).
set(CMAKE_CXX_FLAGS_INIT -Wno-restrict)
include(${CMAKE_CURRENT_LIST_DIR}/cross_compiling.cmake)
