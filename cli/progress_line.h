// The lines that show running tests, one for each: on a terminal they are written over in place;
// elsewhere a line is written for each change.
//
//   [1/2] /dev/sda: testing, 90% remaining (0:35)
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "cli/output.h"

namespace cli {

struct ProgressLine {
  std::string title;  // the drive, escaped
  std::string doing;  // the most important first: "testing, 90% remaining, 2 minutes or more"
  std::chrono::seconds elapsed;
};

// For one thread at a time.
class ProgressLines {
 public:
  // output null: shows nothing. rewrite: on a terminal that can, write over the lines.
  ProgressLines(Output* output, bool rewrite)
      : output_(output), rewrite_(output && rewrite && output->rewrites()) {}

  bool rewrites() const { return rewrite_; }
  // Shows these in the place of the last ones. Where lines stay it writes nothing; see note.
  void show(const std::vector<ProgressLine>& lines);
  // Writes a line where lines stay.
  void note(const ProgressLine& line);
  // Takes the lines away, for something else to be written.
  void clear();

 private:
  Output* const output_;
  const bool rewrite_;
  std::size_t drawn_ = 0;
};

// The line, cut to that many columns (0: not cut). What is done loses what stands behind its commas
// but the first, from the end, then the title is cut, then the rest.
std::string line_text(const ProgressLine& line, std::size_t columns);

}  // namespace cli
