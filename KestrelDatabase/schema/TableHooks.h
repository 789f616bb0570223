// The three schema hooks of one table class as plain function pointers, so
// that the database helper can keep its fixed, ordered list of table classes
// as data:
//   constexpr TableHooks kEvent = tableHooksOf<DBTableEvent>("DBTableEvent");
//
// Thread-safety: a constant value type.
#pragma once

#include <string>
#include <vector>

namespace kestrel {

struct TableHooks {
  std::string (*createTableQuery)();
  std::vector<std::string> (*updateTableQueries)();
  std::vector<std::string> (*createIndexes)();
  const char* className;
};

/// The hooks of table class T (its own or those it inherits from DBTableAbstract).
template <class T>
constexpr TableHooks tableHooksOf(const char* name) {
  return TableHooks{&T::createTableQuery, &T::updateTableQueries, &T::createIndexes, name};
}

}  // namespace kestrel
