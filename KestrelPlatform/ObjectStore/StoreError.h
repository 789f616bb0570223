// An error of the object store as a value: a code, a description and a
// user-information dictionary with the details (paths, entity and attribute
// names, SQLite's own code and message). Nothing in the object store throws;
// operations that can fail return one of these, or std::nullopt on success.
//
// Thread-safety: a plain value.
#pragma once

#include <map>
#include <string>

namespace kestrel::platform {

enum class StoreErrorCode {
  modelNotFound = 1,    // no bundle, resource or model of that name
  invalidModel,         // the model data could not be read
  storeOpenFailed,      // the file could not be opened or is not an object store
  incompatibleVersion,  // written by a model version this model does not know
  migrationRequired,    // needs migration while automatic migration is off
  migrationFailed,      // the migration could not be completed (nothing changed)
  sqliteFailed,         // a statement failed
  validationFailed,     // an object's values break its entity's rules
  storeRemoved,         // the object's store has been removed
  noStore,              // no persistent store is loaded
  invalidPredicate,     // a malformed format, unknown attribute or unusable argument
  unknownEntity,        // no entity of that name in the model
  invalidObject,        // the object does not belong to the context asked to change it
};

struct StoreError {
  StoreErrorCode code = StoreErrorCode::sqliteFailed;
  std::string description;
  std::map<std::string, std::string> userInfo;

  /// The dictionary on one line: {key = value; key = value}, or {} when empty.
  std::string userInfoDescription() const;
  /// The description, a blank, and the dictionary.
  std::string fullDescription() const;
};

}  // namespace kestrel::platform
