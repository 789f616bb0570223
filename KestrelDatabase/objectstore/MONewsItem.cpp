#include <KestrelDatabase/objectstore/MONewsItem.h>

namespace kestrel {

std::optional<std::string> MONewsItem::id() const { return object_->stringValue("id"); }
void MONewsItem::setId(const std::optional<std::string>& value) { object_->setValue("id", value); }

}  // namespace kestrel
