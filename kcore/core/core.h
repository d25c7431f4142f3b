#pragma once

// Start and stop of the core library, and where its program lies.

#include "kcore/strings/string.h"

namespace kestrel {

// Standard streams, locale, messages with the console handler, the names of the unit classes, file system.
void core_initialize();
// Flushes both streams; messages are dropped from then on.
void core_shutdown();

// Memory that is freed stays with the process, which uses it again for whatever it asks for next; part of
// core_initialize. Without this, conversions take 1.1 times the time, more where fresh pages are dear.
void keep_freed_memory();

// The directory that holds the asset trees: the running program lies below it in BASE/bin/PLATFORM/. False,
// leaving the destination as it was, when the program's path is not known or has no "/bin/".
bool get_base_directory(mstring_t &destination);
// The same for the program of this path: what stands before its last "/bin/", with "/" as the separator. At
// most 255 bytes.
bool get_base_directory_of(std::string_view program_path, mstring_t &destination);

} // namespace kestrel
