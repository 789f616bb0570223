#include <KestrelDatabase/sql/Value.h>

#include <KestrelPlatform/NumberText.h>

#include <ctime>

namespace kestrel {

const Value& Value::null() {
  static const Value marker;
  return marker;
}

Value::Value(const std::vector<std::byte>& b) {
  Blob bytes(b.size());
  for (size_t i = 0; i < b.size(); ++i) bytes[i] = static_cast<std::uint8_t>(b[i]);
  data_ = std::move(bytes);
}

std::int64_t Value::toInt64() const {
  switch (type()) {
    case Type::Integer:
      return *integer();
    case Type::Double:
      return platform::saturatedInteger(*real());
    case Type::Text:
      return platform::leadingInteger(*text());
    default:
      return 0;
  }
}

double Value::toDouble() const {
  switch (type()) {
    case Type::Integer:
      return static_cast<double>(*integer());
    case Type::Double:
      return *real();
    case Type::Text:
      return platform::leadingDouble(*text());
    case Type::Date:
      return std::chrono::duration<double>(date()->time_since_epoch()).count();
    default:
      return 0.0;
  }
}

std::string Value::description() const {
  switch (type()) {
    case Type::Null:
      return "<null>";
    case Type::Integer:
      return std::to_string(*integer());
    case Type::Double:
      return platform::decimalText(*real());
    case Type::Text:
      return *text();
    case Type::Blob: {
      static constexpr char kHex[] = "0123456789abcdef";
      std::string out = "<";
      for (size_t i = 0; i < blob()->size(); ++i) {
        if (i > 0 && i % 4 == 0) out.push_back(' ');
        out.push_back(kHex[(*blob())[i] >> 4]);
        out.push_back(kHex[(*blob())[i] & 0xF]);
      }
      out.push_back('>');
      return out;
    }
    case Type::Date: {
      const std::time_t seconds = std::chrono::system_clock::to_time_t(*date());
      std::tm utc{};
      gmtime_r(&seconds, &utc);
      char buffer[64];
      std::strftime(buffer, sizeof buffer, "%Y-%m-%d %H:%M:%S +0000", &utc);
      return buffer;
    }
  }
  return {};
}

}  // namespace kestrel
