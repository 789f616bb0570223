#include <KestrelDatabase/objectstore/MOHighlight.h>

namespace kestrel {

std::int64_t MOHighlight::id() const { return object_->integerValue("id"); }
void MOHighlight::setId(std::int64_t value) { object_->setValue("id", value); }
std::int64_t MOHighlight::lastWatching() const { return object_->integerValue("lastWatching"); }
void MOHighlight::setLastWatching(std::int64_t value) { object_->setValue("lastWatching", value); }
std::optional<std::string> MOHighlight::url() const { return object_->stringValue("url"); }
void MOHighlight::setUrl(const std::optional<std::string>& value) { object_->setValue("url", value); }
std::int64_t MOHighlight::urlCreated() const { return object_->integerValue("urlCreated"); }
void MOHighlight::setUrlCreated(std::int64_t value) { object_->setValue("urlCreated", value); }

}  // namespace kestrel
