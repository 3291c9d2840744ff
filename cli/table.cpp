#include "cli/table.h"

#include <algorithm>
#include <functional>
#include <utility>

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

std::string shown(const TableCell& cell) { return cell.text.empty() ? "-" : escape(cell.text); }

// What the cell needs.
std::size_t least_columns(const TableCell& cell, bool is_cut) {
  const std::size_t whole = columns_of(shown(cell));
  return is_cut && !cell.brief.empty() ? std::min(whole, columns_of(escape(cell.brief))) : whole;
}

std::string shown_within(const TableCell& cell, std::size_t width) {
  const std::string whole = shown(cell);
  const std::string brief = escape(cell.brief);
  const bool is_long = columns_of(whole) > width && !brief.empty();
  // A cut text may still say more than the brief one that it begins with.
  constexpr std::size_t kWorthCutting = 12;
  const bool continues = whole.starts_with(brief) && width >= columns_of(brief) + kWorthCutting;
  return elide(is_long && !continues ? brief : whole, width);
}

void fit(Widths& widths, const std::vector<TableColumn>& columns, std::size_t most) {
  const Widths whole = widths;
  const auto shorten = [&](std::size_t column) {
    const std::size_t over = sum(widths) - std::min(sum(widths), most);
    const std::size_t spare = widths[column] - std::min(widths[column], kLeast);
    widths[column] -= std::min(spare, over);
  };
  for (const std::size_t column : ranked(columns, &TableColumn::shortened)) shorten(column);
  for (const std::size_t column : ranked(columns, &TableColumn::left_out))
    if (sum(widths) > most) widths[column] = 0;
  shorten(columns.size() - 1);
  // What was left out may have made more room than was missing: each gets its share.
  const auto shortened = ranked(columns, &TableColumn::shortened);
  for (std::size_t before = 0; before != sum(widths) && sum(widths) < most;) {
    before = sum(widths);
    for (const std::size_t column : shortened)
      if (widths[column] > 0 && widths[column] < whole[column] && sum(widths) < most)
        ++widths[column];
  }
}

}  // namespace

Table::Table(std::vector<TableColumn> columns, const std::vector<std::vector<TableCell>>& expected,
             const Output& output)
    : columns_(std::move(columns)), output_(output), is_cut_(output.columns() > 0) {
  for (const TableColumn& column : columns_) widths_.push_back(columns_of(column.title));
  for (const auto& row : expected)
    for (std::size_t column = 0; column < columns_.size(); ++column)
      widths_[column] = std::max(widths_[column], least_columns(row[column], is_cut_));
  if (!is_cut_) return;
  fit(widths_, columns_, output.columns());
  // The last column has all that is left.
  const std::size_t others = sum(widths_) - widths_.back();
  if (others < output.columns())
    widths_.back() = std::max(widths_.back(), output.columns() - others);
}

std::string Table::titles() const {
  std::vector<TableCell> cells;
  for (const TableColumn& column : columns_) cells.push_back({column.title, Colour::None});
  return row(cells);
}

std::string Table::row(const std::vector<TableCell>& cells) const {
  std::string text;
  for (std::size_t column = 0; column < columns_.size(); ++column) {
    const std::size_t width = widths_[column];
    if (width == 0) continue;
    const std::string cell = is_cut_ ? shown_within(cells[column], width) : shown(cells[column]);
    const bool is_last = column + 1 == columns_.size();
    const std::size_t used = std::min(columns_of(cell), width);
    const std::string blanks(is_last ? 0 : width - used, ' ');
    const std::string coloured = output_.coloured(cell, cells[column].colour);
    text += columns_[column].is_right_aligned ? blanks + coloured : coloured + blanks;
    text += is_last ? "\n" : std::string(kGap, ' ');
  }
  return text;
}

std::string table_text(const std::vector<TableColumn>& columns,
                       const std::vector<std::vector<TableCell>>& rows, const Output& output) {
  const Table table(columns, rows, output);
  std::string text = table.titles();
  for (const auto& row : rows) text += table.row(row);
  return text;
}

}  // namespace cli
