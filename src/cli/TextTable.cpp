#include "cli/TextTable.h"

#include <algorithm>
#include <numeric>

#include "base/PrintableText.h"

namespace sonmere {

namespace {

constexpr int kGap = 2;
// A text of fewer columns says nothing.
constexpr int kLeastWidth = 6;

}  // namespace

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(column.title);
  add(std::move(titles));
}

void TextTable::add(std::vector<std::string> cells) {
  for (std::string& cell : cells) cell = printable(cell);
  rows_.push_back(std::move(cells));
}

std::vector<int> TextTable::widths(int columns) const {
  std::vector<int> all(columns_.size(), 0);
  for (const auto& row : rows_)
    for (std::size_t i = 0; i < all.size(); ++i) all[i] = std::max(all[i], displayWidth(row[i]));
  int over = std::accumulate(all.begin(), all.end(), kGap * int(all.size() - 1)) - columns;
  while (columns > 0 && over-- > 0) {
    int* widest = nullptr;
    for (std::size_t i = 0; i < all.size(); ++i)
      if (columns_[i].align == Align::left && (!widest || all[i] > *widest)) widest = &all[i];
    if (!widest || *widest <= kLeastWidth) break;
    --*widest;
  }
  return all;
}

std::string TextTable::line(const std::vector<std::string>& cells, const std::vector<int>& widths) const {
  std::string out;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string cell = fitted(cells[i], widths[i]);
    const std::string space(std::size_t(widths[i] - displayWidth(cell)), ' ');
    if (i > 0) out += std::string(kGap, ' ');
    out += columns_[i].align == Align::right ? space + cell : cell + space;
  }
  out.erase(out.find_last_not_of(' ') + 1);
  return out;
}

std::string TextTable::text(int columns) const {
  const std::vector<int> all = widths(columns);
  std::string out;
  for (const auto& row : rows_) {
    const std::string whole = line(row, all);
    out += (columns > 0 ? fitted(whole, columns) : whole) + "\n";
  }
  return out;
}

}  // namespace sonmere
