// The readers, held against recorded outputs: recorded/expected.txt says what each of them tells.
#include "drivetest/reading_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace drivetest {
namespace {

const std::filesystem::path kFolder = HDDTEST_RECORDED_READINGS;

std::string content_of(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  EXPECT_TRUE(file.good()) << path;
  return content.str();
}

int status_in(const std::string& text, const char* form) {
  std::smatch found;
  return std::regex_search(text, found, std::regex(form)) ? std::stoi(found[1]) & 0xFF : 0;
}

// A text file holds the command, the output, errors after "[stderr]" and the status in "[exit N]".
ToolOutput recorded(const std::string& name) {
  std::string text = content_of(kFolder / name);
  if (name.ends_with(".json")) {
    const int status = status_in(text, "\"exit_status\": (-?[0-9]+)");
    return {std::move(text), "", status};
  }
  const int status = status_in(text, "\\[exit ([0-9]+)\\]\\s*$");
  text = text.substr(text.find('\n') + 1, text.rfind("[exit ") - text.find('\n') - 1);
  constexpr std::string_view kErrors = "[stderr]\n";
  const std::size_t errors = text.find(kErrors);
  if (errors == std::string::npos) return {text, "", status};
  return {text.substr(0, errors), text.substr(errors + kErrors.size()), status};
}

TEST(RecordedOutput, IsReadAsTheTableSays) {
  // The drives of this machine are no part of what a scan has printed.
  setenv("HVX_SYSFS_ROOT", "/nonexistent", 1);
  std::istringstream table(content_of(kFolder / "expected.txt"));
  std::string line;
  std::string way;
  std::string name;
  std::string facts;
  std::size_t count = 0;
  const auto compare = [&] {
    if (name.empty()) return;
    EXPECT_EQ(reading_of(way, recorded(name)), facts) << way << " " << name;
    ++count;
    facts.clear();
  };
  while (std::getline(table, line)) {
    if (line.starts_with("## ")) {
      compare();
      std::istringstream(line.substr(3)) >> way >> name;
    } else if (!line.empty() && !line.starts_with("#")) {
      facts += line + "\n";
    }
  }
  compare();
  unsetenv("HVX_SYSFS_ROOT");
  EXPECT_GT(count, 80U);
}

TEST(RecordedOutput, IsInTheTableIfItIsInTheFolder) {
  const std::string table = content_of(kFolder / "expected.txt");
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    const std::string name = entry.path().filename();
    if (name == "expected.txt") continue;
    EXPECT_NE(table.find(" " + name + "\n"), std::string::npos) << name;
  }
}

}  // namespace
}  // namespace drivetest
