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

}  // namespace

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

std::string ColumnNameMap::lowercased(std::string_view name) {
  std::string out(name);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return out;
}

}  // namespace kestrel
