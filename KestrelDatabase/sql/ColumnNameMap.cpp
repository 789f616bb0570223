#include <KestrelDatabase/sql/ColumnNameMap.h>

namespace kestrel {
namespace {

inline unsigned char lower(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

}  // namespace

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

std::uint32_t ColumnNameMap::hash(std::string_view name) {
  std::uint32_t h = 2166136261u;  // FNV-1a over the lower-cased bytes
  for (const char c : name) {
    h ^= lower(static_cast<unsigned char>(c));
    h *= 16777619u;
  }
  return h;
}

bool ColumnNameMap::matches(const Entry& entry, std::uint32_t h, std::string_view name) const {
  if (entry.hash != h || entry.length != name.size()) return false;
  const char* stored = names_.data() + entry.offset;
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (static_cast<unsigned char>(stored[i]) != lower(static_cast<unsigned char>(name[i]))) {
      return false;
    }
  }
  return true;
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
  for (const char c : name)
    names_.push_back(static_cast<char>(lower(static_cast<unsigned char>(c))));
}

int ColumnNameMap::find(std::string_view name) const {
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

std::string ColumnNameMap::lowercased(std::string_view name) {
  std::string out(name);
  for (char& c : out) c = static_cast<char>(lower(static_cast<unsigned char>(c)));
  return out;
}

}  // namespace kestrel
