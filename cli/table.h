// Rows under titles, fitted to the width of the terminal.
#pragma once

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
};

// Ends with a line feed. Each row has a cell for each column. Where the output is no terminal
// nothing is shortened.
std::string table_text(const std::vector<TableColumn>& columns,
                       const std::vector<std::vector<TableCell>>& rows, const Output& output);

}  // namespace cli
