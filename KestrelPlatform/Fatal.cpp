#include <KestrelPlatform/Fatal.h>

#include <KestrelPlatform/Log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace kestrel::platform {

void fatal(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string message = formatStringV(format, args);
  va_end(args);
  log("FATAL: %s", message.c_str());
  // The sink may have been replaced; make sure the reason reaches stderr.
  std::fprintf(stderr, "FATAL: %s\n", message.c_str());
  std::fflush(stderr);
  std::abort();
}

}  // namespace kestrel::platform
