#include <KestrelPlatform/Fatal.h>

#include <KestrelPlatform/Log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace kestrel::platform {

void fatal(const char* format, ...) {
  char message[1024];
  va_list args;
  va_start(args, format);
  std::vsnprintf(message, sizeof message, format, args);
  va_end(args);
  log("FATAL: %s", message);
  // The sink may have been replaced; make sure the reason reaches stderr.
  std::fprintf(stderr, "FATAL: %s\n", message);
  std::fflush(stderr);
  std::abort();
}

}  // namespace kestrel::platform
