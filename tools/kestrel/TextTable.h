// A table of text for the tool's reports: a header row and rows of cells,
// printed with each column as wide as its widest cell (in characters, so
// UTF-8 names line up), columns two blanks apart, no blanks at line ends.
//
// Thread-safety: a plain value.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::tool {

class TextTable {
 public:
  explicit TextTable(std::vector<std::string> header);

  /// Adds a row; missing cells are empty, extra cells are dropped.
  void addRow(std::vector<std::string> cells);
  /// True when no row was added.
  bool empty() const { return rows_.size() == 1; }
  /// The header and the rows, each line starting with `indent` and ending
  /// in '\n'.
  std::string text(std::string_view indent = "  ") const;

 private:
  std::vector<std::vector<std::string>> rows_;  // the header first
};

}  // namespace kestrel::tool
