#pragma once

// Start and stop of the core library: standard streams, locale, messages with the console handler, unit
// classes, file system.

namespace kestrel {

void core_initialize();
// Flushes both streams; messages are dropped from then on.
void core_shutdown();

} // namespace kestrel
