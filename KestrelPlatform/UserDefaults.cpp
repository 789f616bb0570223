#include <KestrelPlatform/UserDefaults.h>

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/NumberText.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <system_error>

namespace kestrel::platform {
namespace {

// Text read as a boolean: after leading spaces, a sign and zeros, "Y", "y",
// "T", "t" or a digit 1-9 means true.
bool textAsBool(const std::string& text) {
  std::size_t i = 0;
  while (i < text.size() && (text[i] == ' ' || text[i] == '\t' || text[i] == '\n')) ++i;
  if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
  while (i < text.size() && text[i] == '0') ++i;
  if (i == text.size()) return false;
  const char c = text[i];
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

std::string errnoText() {
  return std::strerror(errno);
}

// Writes all of text to a new file beside `path` and renames it over `path`.
bool writeAtomically(const std::filesystem::path& path, const std::string& text,
                     std::string& error) {
  std::error_code ec;
  std::filesystem::create_directories(path.parent_path(), ec);
  // A hidden name beside the file: ".<name>.XXXXXX", made unique by mkstemp.
  std::string name(".");
  name.append(path.filename().string()).append(".XXXXXX");
  std::string temp = (path.parent_path() / name).string();
  const int fd = ::mkstemp(temp.data());
  if (fd < 0) {
    error = errnoText();
    return false;
  }
  bool ok = true;
  for (std::size_t written = 0; ok && written < text.size();) {
    const ssize_t n = ::write(fd, text.data() + written, text.size() - written);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      ok = false;
    } else {
      written += static_cast<std::size_t>(n);
    }
  }
  if (ok && ::fsync(fd) != 0) ok = false;
  if (!ok) error = errnoText();
  if (::close(fd) != 0 && ok) {
    ok = false;
    error = errnoText();
  }
  if (ok && ::rename(temp.c_str(), path.c_str()) != 0) {
    ok = false;
    error = errnoText();
  }
  if (!ok) {
    ::unlink(temp.c_str());
    return false;
  }
  // Make the rename itself durable.
  if (const int dir = ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY); dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
  return true;
}

}  // namespace

std::shared_ptr<UserDefaults> UserDefaults::standard() {
  static std::mutex mutex;
  static std::shared_ptr<UserDefaults> instance;
  static std::filesystem::path instanceRoot;
  std::lock_guard lock(mutex);
  const std::filesystem::path root = AppHome::root();
  if (!instance || root != instanceRoot) {
    instance = create(AppHome::preferences() / kStandardFileName);
    instanceRoot = root;
  }
  return instance;
}

std::shared_ptr<UserDefaults> UserDefaults::create(std::filesystem::path file) {
  return std::make_shared<UserDefaults>(std::move(file));
}

UserDefaults::UserDefaults(std::filesystem::path file)
    : path_(std::move(file)), values_(Json::object()) {
  load();
}

void UserDefaults::load() {
  std::error_code ec;
  const auto status = std::filesystem::status(path_, ec);
  if (status.type() == std::filesystem::file_type::not_found) return;  // a first start

  std::string problem;
  if (ec) {
    problem = ec.message();
  } else if (status.type() != std::filesystem::file_type::regular) {
    problem = "not a regular file";
  } else if (std::ifstream in(path_, std::ios::binary); !in) {
    problem = "cannot be opened";
  } else {
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    std::optional<Json> parsed = in.bad() ? std::nullopt : parseJson(text);
    if (in.bad()) {
      problem = "read error";
    } else if (!parsed) {
      problem = "not valid JSON";
    } else if (!parsed->is_object()) {
      problem = "not a JSON object";
    } else {
      values_ = std::move(*parsed);
    }
  }
  if (!problem.empty()) {
    log("WARNING: could not read user defaults at %s (%s); using defaults", path_.c_str(),
        problem.c_str());
  }
}

const Json* UserDefaults::findLocked(std::string_view key) const {
  const auto it = values_.find(key);
  return it == values_.end() ? nullptr : &*it;
}

bool UserDefaults::boolForKey(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const Json* value = findLocked(key);
  if (value == nullptr) return false;
  if (value->is_boolean()) return value->get<bool>();
  if (value->is_number_float()) return value->get<double>() != 0.0;
  if (value->is_number_unsigned()) return value->get<std::uint64_t>() != 0;
  if (value->is_number_integer()) return value->get<std::int64_t>() != 0;
  if (value->is_string()) return textAsBool(value->get_ref<const std::string&>());
  return false;
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const Json* value = findLocked(key);
  if (value == nullptr) return 0;
  if (value->is_boolean()) return value->get<bool>() ? 1 : 0;
  if (value->is_number_unsigned()) {
    const auto number = value->get<std::uint64_t>();
    return number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? std::numeric_limits<std::int64_t>::max()
               : static_cast<std::int64_t>(number);
  }
  if (value->is_number_integer()) return value->get<std::int64_t>();
  if (value->is_number_float()) return saturatedInteger(value->get<double>());
  if (value->is_string()) {
    // The leading digits ("42 apples" reads 42); saturates like strtoll.
    return std::strtoll(value->get_ref<const std::string&>().c_str(), nullptr, 10);
  }
  return 0;
}

double UserDefaults::doubleForKey(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const Json* value = findLocked(key);
  if (value == nullptr) return 0.0;
  if (value->is_boolean()) return value->get<bool>() ? 1.0 : 0.0;
  if (value->is_number()) return value->get<double>();
  if (value->is_string()) return leadingDouble(value->get_ref<const std::string&>());
  return 0.0;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  std::lock_guard lock(mutex_);
  const Json* value = findLocked(key);
  if (value == nullptr) return std::nullopt;
  if (value->is_string()) return value->get<std::string>();
  if (value->is_boolean()) return value->get<bool>() ? "1" : "0";
  if (value->is_number()) return value->dump();  // shortest text that reads back the same
  return std::nullopt;
}

bool UserDefaults::containsKey(std::string_view key) const {
  std::lock_guard lock(mutex_);
  return findLocked(key) != nullptr;
}

void UserDefaults::setBool(bool value, std::string_view key) {
  store(key, Json(value));
}

void UserDefaults::setInteger(std::int64_t value, std::string_view key) {
  store(key, Json(value));
}

void UserDefaults::setDouble(double value, std::string_view key) {
  if (std::isnan(value)) {
    store(key, Json("nan"));
  } else if (std::isinf(value)) {
    store(key, Json(value > 0 ? "inf" : "-inf"));
  } else {
    store(key, Json(value));
  }
}

void UserDefaults::setString(std::string_view value, std::string_view key) {
  // Keep in memory exactly what the file will hold after a restart.
  const std::string escaped =
      Json(std::string(value)).dump(-1, ' ', false, Json::error_handler_t::replace);
  std::optional<Json> clean = parseJson(escaped);
  store(key, clean ? std::move(*clean) : Json(""));
}

void UserDefaults::removeObjectForKey(std::string_view key) {
  std::lock_guard lock(mutex_);
  const auto it = values_.find(key);
  if (it == values_.end()) return;
  values_.erase(it);
  writeLocked();
}

bool UserDefaults::synchronize() {
  std::lock_guard lock(mutex_);
  return writeLocked();
}

void UserDefaults::store(std::string_view key, Json value) {
  std::lock_guard lock(mutex_);
  values_[std::string(key)] = std::move(value);
  writeLocked();
}

bool UserDefaults::writeLocked() {
  // Keys may hold bytes that are not UTF-8; replace them rather than fail.
  std::string text = values_.dump(2, ' ', false, Json::error_handler_t::replace);
  text.push_back('\n');
  std::string error;
  if (writeAtomically(path_, text, error)) return true;
  log("WARNING: could not write user defaults at %s: %s", path_.c_str(), error.c_str());
  return false;
}

}  // namespace kestrel::platform
