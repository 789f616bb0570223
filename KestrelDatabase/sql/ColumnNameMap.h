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
        std::memcmp(declared_.data() + guess.offset, name.data(), name.size()) == 0) [[likely]] {
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

  int findHashed(std::string_view name) const {
    const std::uint32_t h = hash(name);
    std::uint32_t slot = h & mask_;
    while (slots_[slot] >= 0) {
      const auto number = static_cast<std::uint32_t>(slots_[slot]);
      const Entry& entry = entries_[number];
      if (matches(entry, h, name)) {
        next_ = number + 1 == entries_.size() ? 0 : number + 1;
        return entry.index;
      }
      slot = (slot + 1) & mask_;
    }
    return -1;
  }

  /// Up to eight bytes of `p`, zero-padded.
  static std::uint64_t load(const char* p, std::size_t n) {
    std::uint64_t value = 0;
    std::memcpy(&value, p, n);
    return value;
  }

  /// Each ASCII capital of the eight bytes made small; other bytes unchanged.
  static std::uint64_t lower(std::uint64_t x) {
    constexpr std::uint64_t kOnes = 0x0101010101010101ull;
    constexpr std::uint64_t kHigh = 0x8080808080808080ull;
    const std::uint64_t low7 = x & ~kHigh;
    const std::uint64_t atLeastA = low7 + (0x80 - 'A') * kOnes;
    const std::uint64_t aboveZ = low7 + (0x80 - 'Z' - 1) * kOnes;
    const std::uint64_t capital = atLeastA & ~aboveZ & ~x & kHigh;
    return x | (capital >> 2);  // 0x80 >> 2 == 0x20, the case bit
  }

  /// Equal for names equal without regard to case. Setting the case bit of
  /// every byte folds more than letters together ('_' with DEL, say); that
  /// only costs a rare extra compare, as matches() settles equality exactly.
  static std::uint32_t hash(std::string_view name) {
    constexpr std::uint64_t kCaseBits = 0x2020202020202020ull;
    std::uint64_t h = 0x9E3779B97F4A7C15ull ^ name.size();
    std::size_t i = 0;
    for (; i + 8 <= name.size(); i += 8) {
      h = (h ^ (load(name.data() + i, 8) | kCaseBits)) * 0xFF51AFD7ED558CCDull;
      h ^= h >> 32;
    }
    if (i < name.size()) {
      h = (h ^ (load(name.data() + i, name.size() - i) | kCaseBits)) * 0xFF51AFD7ED558CCDull;
    }
    // Spread every input bit over the low bits the slots use (names often
    // differ only in their last characters, which land in the high bits).
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return static_cast<std::uint32_t>(h);
  }

  bool matches(const Entry& entry, std::uint32_t h, std::string_view name) const {
    if (entry.hash != h || entry.length != name.size()) return false;
    const char* stored = names_.data() + entry.offset;
    std::size_t i = 0;
    for (; i + 8 <= name.size(); i += 8) {
      if (lower(load(name.data() + i, 8)) != load(stored + i, 8)) return false;
    }
    const std::size_t rest = name.size() - i;
    return rest == 0 || lower(load(name.data() + i, rest)) == load(stored + i, rest);
  }

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
