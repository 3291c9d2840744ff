#include "drivetest/history_transfer.h"

#include <utility>

#include "drivetest/history_json.h"

namespace drivetest {

namespace {

[[noreturn]] void throw_at(std::size_t number, const std::string& words) {
  throw TransferError("line " + std::to_string(number) + ": " + words +
                      "; nothing was taken over: mend or remove that line");
}

// Reads the next line without its line feed; false at the end of the file.
bool read_line(std::istream& file, std::string& line, std::size_t longest) {
  line.clear();
  std::streambuf& bytes = *file.rdbuf();
  try {
    for (int next = bytes.sbumpc(); next != std::char_traits<char>::eof(); next = bytes.sbumpc()) {
      if (next == '\n') return true;
      line += static_cast<char>(next);
      if (line.size() > longest) return true;
    }
  } catch (const std::ios_base::failure&) {
    throw TransferError("the file cannot be read; nothing was taken over");
  }
  return !line.empty();
}

void count(ImportCounts& counts, History::Import what, std::size_t number) {
  switch (what) {
    case History::Import::Added:
      ++counts.added;
      return;
    case History::Import::Ended:
      ++counts.ended;
      return;
    case History::Import::Unchanged:
      ++counts.unchanged;
      return;
    case History::Import::Different:
      ++counts.different;
      return;
    case History::Import::DriveIsBusy:
      throw_at(number,
               "the test runs as far as the file knows, but another test of its drive runs here or "
               "in the file");
  }
}

}  // namespace

void export_history(History& history, const std::function<void(std::string_view)>& write) {
  history.each([&](const KeptTest& test) { write(json_line(test) + "\n"); });
}

ImportCounts import_history(History& history, std::istream& file, const TransferLimits& limits) {
  ImportCounts counts;
  const std::istream::pos_type beginning = file.tellg();
  bool is_read = false;
  history.together([&] {
    counts = {};
    if (std::exchange(is_read, true)) {
      file.clear();
      if (!file.seekg(beginning))
        throw TransferError("the history has been begun anew while it was read: try again");
    }
    std::string line;
    std::size_t size = 0;
    for (std::size_t number = 1; read_line(file, line, limits.line); ++number) {
      if (line.size() > limits.line)
        throw_at(number, "it is longer than " + std::to_string(limits.line) + " bytes");
      size += line.size() + 1;
      if (size > limits.file)
        throw TransferError("the file is larger than " + std::to_string(limits.file) +
                            " bytes; nothing was taken over: divide it");
      try {
        count(counts, history.import(test_from_json(line)), number);
      } catch (const JsonLineError& error) {
        throw_at(number, error.what());
      }
    }
  });
  return counts;
}

}  // namespace drivetest
