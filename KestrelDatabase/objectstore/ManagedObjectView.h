// The common base of the MO... classes: a typed view over one managed
// object of the object store, whose attributes the store provides. A view
// is as cheap to copy as the shared pointer it holds, and like its object
// it belongs to the context that fetched it: read and change it in that
// context's blocks (DataManager's completions run there).
//
// Ownership: shares the object.
#pragma once

#include <KestrelPlatform/ObjectStore/ManagedObject.h>

#include <memory>
#include <utility>

namespace kestrel {

class ManagedObjectView {
 public:
  explicit ManagedObjectView(std::shared_ptr<platform::ManagedObject> object)
      : object_(std::move(object)) {}

  const std::shared_ptr<platform::ManagedObject>& object() const { return object_; }

  /// The same record (the same object of the same context).
  friend bool operator==(const ManagedObjectView& a, const ManagedObjectView& b) {
    return a.object_ == b.object_;
  }

 protected:
  std::shared_ptr<platform::ManagedObject> object_;
};

}  // namespace kestrel
