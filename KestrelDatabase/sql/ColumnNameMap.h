// The column name -> column index map of one prepared statement, matched
// without regard to ASCII case.
//
// Built once per statement from its column names; lookups hash and compare
// the asked-for name case-insensitively in place, eight bytes at a time, so
// reading a row by column name allocates nothing and costs a few
// nanoseconds per name. Of two columns whose names differ only in case, the
// later one wins.
//
// Thread-safety: none; owned by one statement.
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
    if (entries_.empty()) return -1;
    const std::uint32_t h = hash(name);
    std::uint32_t slot = h & mask_;
    while (slots_[slot] >= 0) {
      const Entry& entry = entries_[static_cast<std::size_t>(slots_[slot])];
      if (matches(entry, h, name)) return entry.index;
      slot = (slot + 1) & mask_;
    }
    return -1;
  }

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

  static std::uint32_t hash(std::string_view name) {
    std::uint64_t h = 0x9E3779B97F4A7C15ull ^ name.size();
    std::size_t i = 0;
    for (; i + 8 <= name.size(); i += 8) {
      h = (h ^ lower(load(name.data() + i, 8))) * 0xFF51AFD7ED558CCDull;
      h ^= h >> 32;
    }
    if (i < name.size()) {
      h = (h ^ lower(load(name.data() + i, name.size() - i))) * 0xFF51AFD7ED558CCDull;
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

  std::string names_;  // every name, lower-cased, back to back
  std::vector<Entry> entries_;
  std::vector<std::int32_t> slots_;  // open addressing: entry number or -1
  std::uint32_t mask_ = 0;
};

}  // namespace kestrel
