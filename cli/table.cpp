#include "cli/table.h"

#include <algorithm>
#include <functional>

#include "cli/terminal_text.h"

namespace cli {
namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kLeast = 8;

// The width of each column, 0 of a column that is left out.
using Widths = std::vector<std::size_t>;

std::size_t sum(const Widths& widths) {
  std::size_t all = 0;
  for (const std::size_t width : widths) all += width > 0 ? width + kGap : 0;
  return all - std::min(all, kGap);
}

// The columns that have a rank, by it.
std::vector<std::size_t> ranked(const std::vector<TableColumn>& columns, int TableColumn::*rank) {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < columns.size(); ++i)
    if (columns[i].*rank > 0) order.push_back(i);
  std::sort(order.begin(), order.end(),
            [&](std::size_t a, std::size_t b) { return columns[a].*rank < columns[b].*rank; });
  return order;
}

void fit(Widths& widths, const std::vector<TableColumn>& columns, std::size_t most) {
  const auto shorten = [&](std::size_t column) {
    const std::size_t over = sum(widths) - std::min(sum(widths), most);
    const std::size_t spare = widths[column] - std::min(widths[column], kLeast);
    widths[column] -= std::min(spare, over);
  };
  for (const std::size_t column : ranked(columns, &TableColumn::shortened)) shorten(column);
  for (const std::size_t column : ranked(columns, &TableColumn::left_out))
    if (sum(widths) > most) widths[column] = 0;
  shorten(columns.size() - 1);
}

}  // namespace

std::string table_text(const std::vector<TableColumn>& columns,
                       const std::vector<std::vector<TableCell>>& rows, const Output& output) {
  std::vector<std::vector<TableCell>> cells(1);
  for (const TableColumn& column : columns) cells.front().push_back({column.title, Colour::None});
  cells.insert(cells.end(), rows.begin(), rows.end());
  Widths widths(columns.size());
  for (auto& row : cells) {
    for (std::size_t column = 0; column < columns.size(); ++column) {
      std::string& text = row[column].text;
      text = text.empty() ? "-" : escape(text);
      widths[column] = std::max(widths[column], columns_of(text));
    }
  }
  if (output.columns() > 0) fit(widths, columns, output.columns());
  std::string text;
  for (const auto& row : cells) {
    for (std::size_t column = 0; column < columns.size(); ++column) {
      if (widths[column] == 0) continue;
      const std::string cell = elide(row[column].text, widths[column]);
      const bool is_last = column + 1 == columns.size();
      const std::string blanks(is_last ? 0 : widths[column] - columns_of(cell), ' ');
      const std::string shown = output.coloured(cell, row[column].colour);
      text += columns[column].is_right_aligned ? blanks + shown : shown + blanks;
      text += is_last ? "\n" : std::string(kGap, ' ');
    }
  }
  return text;
}

}  // namespace cli
