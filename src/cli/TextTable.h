#pragma once

#include <string>
#include <vector>

#include "cli/Terminal.h"

namespace sonmere {

// A table for people: each column as wide as its widest cell, and all together no wider than the terminal,
// where texts are cut, the widest first, and the rest of a line that still does not fit. Cells are shown as a
// terminal may have them.
class TextTable {
 public:
  enum class Align { left, right };
  struct Column {
    std::string title;
    Align align = Align::left;  // only texts, which stand left, are cut
  };

  explicit TextTable(std::vector<Column> columns);
  // As many cells as columns.
  void add(std::vector<std::string> cells);
  // With its titles, a line a row. 0 columns stand for no limit.
  std::string text(int columns = terminalColumns()) const;

 private:
  std::vector<int> widths(int columns) const;
  std::string line(const std::vector<std::string>& cells, const std::vector<int>& widths) const;

  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;  // the titles first
};

}  // namespace sonmere
