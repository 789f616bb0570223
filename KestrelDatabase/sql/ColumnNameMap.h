// The column name -> column index map of one prepared statement, matched
// without regard to ASCII case.
//
// Built once per statement from its column names. Callers mostly read a row
// column after column in the statement's own order and spelling, so a lookup
// first tries the column after the last one found, comparing the asked-for
// name byte for byte with that column's declared spelling; only when that
// guess misses does it hash the name and compare it case-insensitively,
// eight bytes at a time. Either way reading a row by column name allocates
// nothing. Of two columns whose names differ only in case, the later one
// wins: the map keeps one entry per name, with the later column's index and
// spelling, so the guess and the hash always agree.
//
// Thread-safety: none. find() is const but moves the remembered position,
// so a map must not be read from two threads at once. Its statement is used
// by one result set at a time, inside one database queue block, and a cached
// statement passes to the next result set on the same connection in turn.
#pragma once

#include <cstdint>
#include <cstring>
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
  int find(std::string_view name) const {
    const auto count = static_cast<std::uint32_t>(entries_.size());
    if (count == 0) return -1;
    const Entry& guess = entries_[next_];
    if (guess.length == name.size() &&
        sameBytes(declared_.data() + guess.offset, name.data(), name.size())) [[likely]] {
      next_ = next_ + 1 == count ? 0 : next_ + 1;
      return guess.index;
    }
    return findHashed(name);
  }

  std::size_t size() const { return entries_.size(); }

  /// ASCII lower case of `name`.
  static std::string lowercased(std::string_view name);

 private:
  struct Entry {
    std::uint32_t offset;  // into names_ and declared_
    std::uint32_t length;
    std::uint32_t hash;
    int index;
  };

  /// The hashed lookup behind find(), kept out of line so that the guess
  /// stays small where it is inlined.
  int findHashed(std::string_view name) const;

  /// Whether the `n` bytes at `a` and `b` are equal; compares in words,
  /// without a library call.
  static bool sameBytes(const char* a, const char* b, std::size_t n) {
    if (n >= 8) {
      for (std::size_t i = 0; i + 8 < n; i += 8) {
        if (load(a + i, 8) != load(b + i, 8)) return false;
      }
      return load(a + n - 8, 8) == load(b + n - 8, 8);  // the last eight, overlapping
    }
    if (n >= 4) {
      return load(a, 4) == load(b, 4) && load(a + n - 4, 4) == load(b + n - 4, 4);
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (a[i] != b[i]) return false;
    }
    return true;
  }

  /// Up to eight bytes of `p`, zero-padded.
  static std::uint64_t load(const char* p, std::size_t n) {
    std::uint64_t value = 0;
    std::memcpy(&value, p, n);
    return value;
  }

  /// Case-insensitive hash of `name`.
  static std::uint32_t hash(std::string_view name);
  /// Whether `name` is the entry's name without regard to case.
  bool matches(const Entry& entry, std::uint32_t h, std::string_view name) const;

  /// Lays out the slots again for `capacity` (a power of two) slots.
  void rebuildSlots(std::size_t capacity);

  std::string names_;                // every name, lower-cased, back to back
  std::string declared_;             // the same names as the winning column spells them
  std::vector<Entry> entries_;       // in the order the names first appeared
  std::vector<std::int32_t> slots_;  // open addressing: entry number or -1
  std::uint32_t mask_ = 0;
  mutable std::uint32_t next_ = 0;  // the entry after the last one found
};

}  // namespace kestrel
