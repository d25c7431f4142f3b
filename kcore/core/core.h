#pragma once

// Start and stop of the core library: locale, messages with the console handler, file system.

namespace kestrel {

void core_initialize();
// Flushes both streams; messages are dropped from then on.
void core_shutdown();

} // namespace kestrel
