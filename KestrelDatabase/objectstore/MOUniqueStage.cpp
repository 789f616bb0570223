#include <KestrelDatabase/objectstore/MOUniqueStage.h>

namespace kestrel {

std::int64_t MOUniqueStage::id() const { return object_->integerValue("id"); }
void MOUniqueStage::setId(std::int64_t value) { object_->setValue("id", value); }

}  // namespace kestrel
