#include <KestrelDatabase/objectstore/MOPlayerValueUserVote.h>

namespace kestrel {

std::int64_t MOPlayerValueUserVote::id() const { return object_->integerValue("id"); }
void MOPlayerValueUserVote::setId(std::int64_t value) { object_->setValue("id", value); }
bool MOPlayerValueUserVote::isValueHigher() const { return object_->boolValue("isValueHigher"); }
void MOPlayerValueUserVote::setIsValueHigher(bool value) { object_->setValue("isValueHigher", value); }
std::int64_t MOPlayerValueUserVote::value() const { return object_->integerValue("value"); }
void MOPlayerValueUserVote::setValue(std::int64_t value) { object_->setValue("value", value); }

}  // namespace kestrel
