#include <KestrelPlatform/ObjectStore/ObjectValue.h>

#include <KestrelPlatform/Log.h>

namespace kestrel::platform {

std::string ObjectValue::description() const {
  switch (kind()) {
    case Kind::null:
      return "nil";
    case Kind::integer:
      return std::to_string(*integer());
    case Kind::real:
      return formatString("%g", *real());
    case Kind::boolean:
      return *boolean() ? "true" : "false";
    case Kind::text:
      return "\"" + *text() + "\"";
    case Kind::data:
      return formatString("<%zu bytes>", data()->size());
  }
  return {};
}

const char* kindName(ObjectValue::Kind kind) {
  switch (kind) {
    case ObjectValue::Kind::null:
      return "nil";
    case ObjectValue::Kind::integer:
      return "integer";
    case ObjectValue::Kind::real:
      return "real";
    case ObjectValue::Kind::boolean:
      return "boolean";
    case ObjectValue::Kind::text:
      return "text";
    case ObjectValue::Kind::data:
      return "data";
  }
  return "?";
}

}  // namespace kestrel::platform
