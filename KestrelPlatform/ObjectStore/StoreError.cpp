#include <KestrelPlatform/ObjectStore/StoreError.h>

namespace kestrel::platform {
namespace {

// Keeps a printed error on one line whatever its parts hold.
std::string oneLine(std::string text) {
  for (char& c : text) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return text;
}

}  // namespace

std::string StoreError::userInfoDescription() const {
  std::string text = "{";
  bool first = true;
  for (const auto& [key, value] : userInfo) {
    if (!first) text += "; ";
    first = false;
    text += oneLine(key) + " = " + oneLine(value);
  }
  return text + "}";
}

std::string StoreError::fullDescription() const {
  return oneLine(description) + " " + userInfoDescription();
}

}  // namespace kestrel::platform
