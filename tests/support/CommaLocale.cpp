#include "support/CommaLocale.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace kestrel::testing {
namespace {

bool writesDecimalComma() {
  char text[16];
  std::snprintf(text, sizeof text, "%.1f", 1.5);
  return std::string(text) == "1,5";
}

}  // namespace

CommaLocale::CommaLocale() {
  if (const char* path = std::getenv("LOCPATH")) previousLocPath_ = path;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "fr_FR.utf8"}) {
    if (tryLocale(name)) return;
  }
  // Not installed: build the German one where only this process looks.
  generated_ = std::make_unique<TempDir>();
  const std::string command = "localedef -i de_DE -f UTF-8 '" + generated_->path().string() +
                              "/de_DE.UTF-8' >/dev/null 2>&1";
  const int status = std::system(command.c_str());
  ::setenv("LOCPATH", generated_->path().c_str(), 1);
  if (tryLocale("de_DE.UTF-8")) return;
  reason_ = "no comma-decimal locale is installed and localedef could not make one (status " +
            std::to_string(status) + ")";
}

CommaLocale::~CommaLocale() {
  if (active_) std::locale::global(previous_);  // also resets the C locale
  if (previousLocPath_) {
    ::setenv("LOCPATH", previousLocPath_->c_str(), 1);
  } else {
    ::unsetenv("LOCPATH");
  }
}

bool CommaLocale::tryLocale(const std::string& name) {
  try {
    // Sets the C++ global locale and, as it has a name, the C locale too.
    previous_ = std::locale::global(std::locale(name));
  } catch (const std::runtime_error&) {
    return false;
  }
  if (!writesDecimalComma()) {
    std::locale::global(previous_);
    return false;
  }
  active_ = true;
  name_ = name;
  return true;
}

}  // namespace kestrel::testing

// The C library's newlocale() keeps the LOCPATH list it parses for a locale
// generated above; the leak checker of the sanitizer builds is told to
// expect that one allocation.
extern "C" const char* __lsan_default_suppressions() { return "leak:__argz_add_sep\n"; }
