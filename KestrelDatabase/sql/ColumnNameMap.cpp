#include <KestrelDatabase/sql/ColumnNameMap.h>

namespace kestrel {

void ColumnNameMap::reset(std::size_t expectedCount) {
  names_.clear();
  entries_.clear();
  entries_.reserve(expectedCount);
  // At most half full, so probe runs stay short.
  std::size_t capacity = 8;
  while (capacity < expectedCount * 2) capacity *= 2;
  slots_.assign(capacity, -1);
  mask_ = static_cast<std::uint32_t>(capacity - 1);
}

void ColumnNameMap::insert(std::string_view name, int index) {
  if (slots_.empty() || (entries_.size() + 1) * 2 > slots_.size()) {
    // Grow: rebuild the slots for twice the room.
    std::vector<Entry> entries = std::move(entries_);
    std::string names = std::move(names_);
    reset((entries.size() + 1) * 2);
    for (const Entry& e : entries) {
      insert(std::string_view(names.data() + e.offset, e.length), e.index);
    }
  }
  const std::uint32_t h = hash(name);
  std::uint32_t slot = h & mask_;
  while (slots_[slot] >= 0) {
    Entry& existing = entries_[static_cast<std::size_t>(slots_[slot])];
    if (matches(existing, h, name)) {
      existing.index = index;
      return;
    }
    slot = (slot + 1) & mask_;
  }
  slots_[slot] = static_cast<std::int32_t>(entries_.size());
  entries_.push_back(Entry{static_cast<std::uint32_t>(names_.size()),
                           static_cast<std::uint32_t>(name.size()), h, index});
  names_.append(lowercased(name));
}

std::string ColumnNameMap::lowercased(std::string_view name) {
  std::string out(name);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + ('a' - 'A'));
  }
  return out;
}

}  // namespace kestrel
