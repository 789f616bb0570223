#include <KestrelDatabase/objectstore/MORecentSearch.h>

namespace kestrel {

std::int64_t MORecentSearch::id() const { return object_->integerValue("id"); }
void MORecentSearch::setId(std::int64_t value) { object_->setValue("id", value); }
std::optional<platform::Bytes> MORecentSearch::searchEntity() const { return object_->dataValue("searchEntity"); }
void MORecentSearch::setSearchEntity(const std::optional<platform::Bytes>& value) { object_->setValue("searchEntity", value); }
std::int64_t MORecentSearch::timestamp() const { return object_->integerValue("timestamp"); }
void MORecentSearch::setTimestamp(std::int64_t value) { object_->setValue("timestamp", value); }
std::optional<std::string> MORecentSearch::type() const { return object_->stringValue("type"); }
void MORecentSearch::setType(const std::optional<std::string>& value) { object_->setValue("type", value); }

}  // namespace kestrel
