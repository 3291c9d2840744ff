// Rows under titles, fitted to the width of the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/output.h"

namespace cli {

struct TableColumn {
  std::string title;
  bool is_right_aligned = false;
  // Where the table is too wide, columns are first shortened, then left out, each in this order; 0:
  // never. The last column is shortened at the end.
  int shortened = 0;
  int left_out = 0;
};

struct TableCell {
  std::string text;  // as it came: escaped here, and "-" where it is empty
  Colour colour = Colour::None;
  std::string brief{};  // what stands for the text where that is too long for a terminal; escaped
};

// A table whose rows are shown before all of them are known. Where the output is no terminal
// nothing is shortened.
class Table {
 public:
  // The widths are those of `expected` rows, on a terminal of their brief texts; the last column
  // has all that is left. What turns out to be longer is cut on a terminal, and elsewhere breaks
  // its line out of the columns. The output is borrowed.
  Table(std::vector<TableColumn> columns, const std::vector<std::vector<TableCell>>& expected,
        const Output& output);

  // Each a line with its line feed. A row has a cell for each column.
  std::string titles() const;
  std::string row(const std::vector<TableCell>& cells) const;

 private:
  std::vector<TableColumn> columns_;
  std::vector<std::size_t> widths_;  // 0 of a column that is left out
  const Output& output_;
  bool is_cut_;
};

// The titles and all rows.
std::string table_text(const std::vector<TableColumn>& columns,
                       const std::vector<std::vector<TableCell>>& rows, const Output& output);

}  // namespace cli
