#include <KestrelModel/Team.h>

namespace kestrel::model {

std::string Team::description() const {
  return name ? *name : std::to_string(ID);
}

}  // namespace kestrel::model
