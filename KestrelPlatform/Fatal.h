// The one way the system stops the process: the message goes through the log,
// then the process aborts. Every assertion of the layer (a re-entrant queue
// call, crash-on-error, an unthreadsafe SQLite build, a missing object model)
// ends here.
//
// Thread-safety: callable from any thread.
#pragma once

namespace kestrel::platform {

[[noreturn]] void fatal(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace kestrel::platform
