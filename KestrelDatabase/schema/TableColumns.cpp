#include <KestrelDatabase/schema/TableColumns.h>

#include <KestrelDatabase/schema/NewEntityTable.h>

#include <algorithm>
#include <iterator>

namespace kestrel {
namespace {

// SQLite's own names for the row id, usable in any table that has one.
constexpr const char* kRowIDAliases[] = {"rowid", "oid", "_rowid_"};

}  // namespace

TableColumns::TableColumns(std::string tableName, const std::vector<std::string>& columnNames,
                           const std::vector<std::string>& numericColumns)
    : tableName_(std::move(tableName)),
      columns_(columnNames.begin(), columnNames.end()),
      numeric_(numericColumns.begin(), numericColumns.end()) {
  references_ = columns_;
  references_.insert(std::begin(kRowIDAliases), std::end(kRowIDAliases));
  for (const std::string& name : references_) {
    longestReference_ = std::max(longestReference_, name.size());
  }
}

TableColumns TableColumns::of(const NewEntityTable& description) {
  std::vector<std::string> names;
  std::vector<std::string> numeric;
  names.reserve(description.columns().size());
  for (const auto& column : description.columns()) {
    names.push_back(column->columnName());
    const int type = column->columnDataType();
    if (type == NewEntityColumn::kDataTypeInteger || type == NewEntityColumn::kDataTypeIntegerAlt) {
      numeric.push_back(names.back());
    }
  }
  return TableColumns(description.tableName().value_or(""), names, numeric);
}

bool TableColumns::isNumeric(std::string_view name) const {
  return numeric_.find(name) != numeric_.end();
}

bool TableColumns::hasColumn(std::string_view name) const {
  return columns_.find(name) != columns_.end();
}

bool TableColumns::isColumnReference(std::string_view text) const {
  // Most texts are longer than any column name: no need to look them up.
  if (text.size() > longestReference_) return false;
  return references_.find(text) != references_.end();
}

namespace {

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::size_t TableColumns::FoldedHash::operator()(std::string_view name) const {
  std::size_t hash = 14695981039346656037ull;  // FNV-1a over the folded bytes
  for (const char c : name) {
    hash ^= static_cast<unsigned char>(folded(c));
    hash *= 1099511628211ull;
  }
  return hash;
}

bool TableColumns::FoldedEqual::operator()(std::string_view a, std::string_view b) const {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (folded(a[i]) != folded(b[i])) return false;
  }
  return true;
}

}  // namespace kestrel
