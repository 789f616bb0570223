// The two brand colours of a unique stage, as colour texts (e.g. "#ff0000").
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <optional>
#include <string>

namespace kestrel::model {

struct StageColors {
  std::optional<std::string> primary{};
  std::optional<std::string> secondary{};

  bool operator==(const StageColors&) const = default;
};

}  // namespace kestrel::model
