// Text for people: what may reach a terminal, and how it is laid out there. Pure functions.
//
// Texts come from drives, files and requests. Nothing of them may work on the terminal, so
// everything that is shown goes through escape() first; layout counts characters, each one column
// wide.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

// The text on one line and without effect on a terminal. Line feed, carriage return and tab become
// \n, \r and \t. Each byte of any other control character (C1 included), of characters that change
// lines or the direction of writing, and of invalid UTF-8 becomes \xNN. The result is valid UTF-8.
std::string escape(std::string_view text);

// The columns that an escaped text takes.
std::size_t columns_of(std::string_view text);

// The text cut to this many columns by "..." in its middle, where it is longer.
std::string elide(std::string_view text, std::size_t columns);

// The lines of a text behind a label: the label stands before the first line, blanks of its width
// before the others. Lines are broken at blanks to fit into the columns (0: not broken). Each line
// is escaped, and an empty last line is left out. Ends with a line feed.
std::string labelled(std::string_view label, std::string_view text, std::size_t columns);

// "0:07", "12:30", "1:00:05".
std::string duration_text(std::chrono::seconds duration);

// As drives are sold, in powers of 1000: "512 B", "64.0 MB", "2.00 TB".
std::string size_text(std::uint64_t bytes);

}  // namespace cli
