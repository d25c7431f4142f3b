#pragma once

// Makes the process's standard streams safe and cheap to write to, whatever the caller of the program left of
// them.

namespace kestrel {

// A standard stream that is closed is opened on nothing, so that no file of the program gets its number and
// then the messages. Writing where nobody reads any more, or beyond a limit on file sizes, becomes an error
// of that write instead of a signal that ends the process in the middle of its work.
void secure_standard_streams();

} // namespace kestrel
