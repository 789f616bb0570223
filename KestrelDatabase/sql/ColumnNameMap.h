// The column name -> column index map of one prepared statement, matched
// without regard to ASCII case.
//
// Built once per statement from its column names; lookups hash and compare
// the asked-for name case-insensitively in place, so reading a row by column
// name allocates nothing. Of two columns whose names differ only in case,
// the later one wins.
//
// Thread-safety: none; owned by one statement.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

class ColumnNameMap {
 public:
  ColumnNameMap() = default;

  /// Empties the map and makes room for `expectedCount` names.
  void reset(std::size_t expectedCount);

  /// Maps `name` (any case) to `index`, replacing an earlier equal name.
  void insert(std::string_view name, int index);

  /// The index of `name` (any case), or -1.
  int find(std::string_view name) const;

  std::size_t size() const { return entries_.size(); }

  /// ASCII lower case of `name`.
  static std::string lowercased(std::string_view name);

 private:
  struct Entry {
    std::uint32_t offset;  // into names_
    std::uint32_t length;
    std::uint32_t hash;
    int index;
  };

  static std::uint32_t hash(std::string_view name);
  bool matches(const Entry& entry, std::uint32_t hash, std::string_view name) const;

  std::string names_;  // every name, lower-cased, back to back
  std::vector<Entry> entries_;
  std::vector<std::int32_t> slots_;  // open addressing: entry number or -1
  std::uint32_t mask_ = 0;
};

}  // namespace kestrel
