#include "TextTable.h"

#include <algorithm>
#include <cstddef>

namespace kestrel::tool {
namespace {

// Characters, not bytes: UTF-8 continuation bytes do not count.
std::size_t displayWidth(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  }));
}

}  // namespace

TextTable::TextTable(std::vector<std::string> header) {
  rows_.push_back(std::move(header));
}

void TextTable::addRow(std::vector<std::string> cells) {
  cells.resize(rows_.front().size());
  rows_.push_back(std::move(cells));
}

std::string TextTable::text(std::string_view indent) const {
  std::vector<std::size_t> widths(rows_.front().size(), 0);
  for (const auto& row : rows_) {
    for (std::size_t column = 0; column < row.size(); ++column) {
      widths[column] = std::max(widths[column], displayWidth(row[column]));
    }
  }
  std::string text;
  for (const auto& row : rows_) {
    std::string line(indent);
    for (std::size_t column = 0; column < row.size(); ++column) {
      if (column > 0) line.append(2, ' ');
      line += row[column];
      line.append(widths[column] - displayWidth(row[column]), ' ');
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace kestrel::tool
