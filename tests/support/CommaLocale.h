// Switches the whole process to a locale that writes numbers with a decimal
// comma (German, or French if German is missing), as an application may do
// with setlocale(LC_ALL, ...) and std::locale::global(...). When the machine
// has no such locale, one is generated with localedef into a temporary
// LOCPATH. Everything is put back on destruction.
//
// Tests that use it skip with reason() when active() is false.
#pragma once

#include <locale>
#include <memory>
#include <optional>
#include <string>

#include "support/TempDir.h"

namespace kestrel::testing {

class CommaLocale {
 public:
  CommaLocale();
  ~CommaLocale();
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;

  /// True when the process now formats "%.1f" of 1.5 as "1,5".
  bool active() const { return active_; }
  /// Why no comma locale could be set, for the skip message.
  const std::string& reason() const { return reason_; }
  /// The name of the locale in use ("de_DE.UTF-8", ...).
  const std::string& name() const { return name_; }

 private:
  bool tryLocale(const std::string& name);

  std::locale previous_;
  std::optional<std::string> previousLocPath_;
  std::unique_ptr<TempDir> generated_;
  bool active_ = false;
  std::string name_;
  std::string reason_;
};

}  // namespace kestrel::testing
