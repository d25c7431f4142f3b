# How every target of this project is compiled: one language level, one set of warnings, one arithmetic.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

# On in every preset; a build without one never fails because another compiler warns of something new.
option(KIM2KMG_WERROR "treat warnings as errors" OFF)

add_library(kim2kmg_options INTERFACE)
target_include_directories(kim2kmg_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(kim2kmg_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  # The same bytes from every compiler and processor: one rounding per operation, never a fused one.
  -ffp-contract=off -fno-fast-math
  # Square roots become one instruction; errno is never asked for.
  -fno-math-errno)
if(KIM2KMG_WERROR)
  target_compile_options(kim2kmg_options INTERFACE -Werror)
endif()
if(CMAKE_INTERPROCEDURAL_OPTIMIZATION AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A false alarm about empty strings, whose storage is never freed.
  target_link_options(kim2kmg_options INTERFACE -Wno-free-nonheap-object)
endif()
# Source paths in messages are relative to the tree, so that two checkouts build the same program.
target_compile_options(kim2kmg_options INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(kim2kmg_options INTERFACE -march=x86-64-v2)
endif()

if(WIN32)
  # Of the system's headers, what is Unicode, without macros named min and max; and a printf that knows the C standard.
  target_compile_definitions(kim2kmg_options INTERFACE
    UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601 __USE_MINGW_ANSI_STDIO=1)
  # A false alarm of GCC 12 about joined strings.
  target_compile_options(kim2kmg_options INTERFACE -Wno-restrict)
endif()

# Sanitizers and coverage are chosen by presets: a comma-separated list for -fsanitize=.
set(KIM2KMG_SANITIZE "" CACHE STRING "sanitizers, such as address,undefined")
if(KIM2KMG_SANITIZE)
  add_compile_options(-fsanitize=${KIM2KMG_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${KIM2KMG_SANITIZE})
endif()
if(KIM2KMG_FUZZ)
  # Everything reports its branches to libFuzzer; its main is linked into the fuzz programs alone.
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()
option(KIM2KMG_COVERAGE "instrument for gcov" OFF)
if(KIM2KMG_COVERAGE)
  add_compile_options(--coverage -O0)
  add_link_options(--coverage)
endif()
