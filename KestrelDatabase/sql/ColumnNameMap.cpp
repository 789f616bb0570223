#include <KestrelDatabase/sql/ColumnNameMap.h>

namespace kestrel {

namespace {

/// The smallest power of two, at least 8, with room for `count` names at
/// most half full, so probe runs stay short.
std::size_t capacityFor(std::size_t count) {
  std::size_t capacity = 8;
  while (capacity < count * 2) capacity *= 2;
  return capacity;
}

/// Each ASCII capital of the eight bytes made small; other bytes unchanged.
std::uint64_t lower(std::uint64_t x) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ull;
  constexpr std::uint64_t kHigh = 0x8080808080808080ull;
  const std::uint64_t low7 = x & ~kHigh;
  const std::uint64_t atLeastA = low7 + (0x80 - 'A') * kOnes;
  const std::uint64_t aboveZ = low7 + (0x80 - 'Z' - 1) * kOnes;
  const std::uint64_t capital = atLeastA & ~aboveZ & ~x & kHigh;
  return x | (capital >> 2);  // 0x80 >> 2 == 0x20, the case bit
}

}  // namespace

// Setting the case bit of every byte folds more than letters together ('_'
// with DEL, say); that only costs a rare extra compare, as matches() settles
// equality exactly.
std::uint32_t ColumnNameMap::hash(std::string_view name) {
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

bool ColumnNameMap::matches(const Entry& entry, std::uint32_t h, std::string_view name) const {
  if (entry.hash != h || entry.length != name.size()) return false;
  const char* stored = names_.data() + entry.offset;
  std::size_t i = 0;
  for (; i + 8 <= name.size(); i += 8) {
    if (lower(load(name.data() + i, 8)) != load(stored + i, 8)) return false;
  }
  const std::size_t rest = name.size() - i;
  return rest == 0 || lower(load(name.data() + i, rest)) == load(stored + i, rest);
}

void ColumnNameMap::reset(std::size_t expectedCount) {
  names_.clear();
  declared_.clear();
  entries_.clear();
  entries_.reserve(expectedCount);
  next_ = 0;
  rebuildSlots(capacityFor(expectedCount));
}

void ColumnNameMap::rebuildSlots(std::size_t capacity) {
  slots_.assign(capacity, -1);
  mask_ = static_cast<std::uint32_t>(capacity - 1);
  for (std::size_t number = 0; number < entries_.size(); ++number) {
    std::uint32_t slot = entries_[number].hash & mask_;
    while (slots_[slot] >= 0) slot = (slot + 1) & mask_;
    slots_[slot] = static_cast<std::int32_t>(number);
  }
}

void ColumnNameMap::insert(std::string_view name, int index) {
  if ((entries_.size() + 1) * 2 > slots_.size()) rebuildSlots(capacityFor(entries_.size() + 1));
  const std::uint32_t h = hash(name);
  std::uint32_t slot = h & mask_;
  while (slots_[slot] >= 0) {
    Entry& existing = entries_[static_cast<std::size_t>(slots_[slot])];
    if (matches(existing, h, name)) {
      // The later column wins, with its spelling (equal names without regard
      // to case have the same length).
      existing.index = index;
      declared_.replace(existing.offset, existing.length, name);
      return;
    }
    slot = (slot + 1) & mask_;
  }
  slots_[slot] = static_cast<std::int32_t>(entries_.size());
  entries_.push_back(Entry{static_cast<std::uint32_t>(names_.size()),
                           static_cast<std::uint32_t>(name.size()), h, index});
  names_.append(lowercased(name));
  declared_.append(name);
}

int ColumnNameMap::findHashed(std::string_view name) const {
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

std::string ColumnNameMap::lowercased(std::string_view name) {
  std::string out(name);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return out;
}

}  // namespace kestrel
