// Machines recorded as a folder each: sysfs.out lists facts of sysfs, hwinfo-disk.out holds what
// "hwinfo --disk" printed there.
#pragma once

#include <algorithm>
#include <iterator>
#include <map>
#include <sstream>

#include "inventory/test_tree.h"

namespace inventory {

inline std::string read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The text between two marks, from a place on; empty when they are not there.
inline std::string between(const std::string& text, const std::string& first,
                           const std::string& last) {
  std::size_t begin = text.find(first);
  if (begin == text.npos) return {};
  begin += first.size();
  const std::size_t end = text.find(last, begin);
  return end == text.npos ? std::string() : text.substr(begin, end - begin);
}

// Lines "PATH -> TARGET" open an object, of which "  ATTRIBUTE=[VALUE]" follow;
// "PATH ATTRIBUTE=VALUE" stands alone.
inline void lay_out(const TestTree& tree, const std::string& facts) {
  std::istringstream lines(facts);
  std::string object;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t arrow = line.find(" -> ");
    const std::size_t equals = line.find('=');
    if (arrow != line.npos) {
      object = line.substr(arrow + 4);
      std::filesystem::create_directories(tree.place(object));
      const std::string link = line.substr(0, arrow);
      const std::string name = link.substr(link.rfind('/') + 1);
      if (link.starts_with("/sys/block/")) {
        tree.link(link, object);
        const std::string parent = object.substr(0, object.rfind('/'));
        tree.link(object + "/device",
                  parent.ends_with("/block") ? parent.substr(0, parent.rfind('/')) : parent);
      } else {
        tree.link("/sys/bus/scsi/devices/" + name, object);
      }
    } else if (line.starts_with("  ") && equals != line.npos) {
      tree.file(object + "/" + line.substr(2, equals - 2),
                between(line.substr(equals), "[", "]") + "\n");
    } else if (equals != line.npos) {
      const std::size_t blank = line.find(' ');
      tree.file(line.substr(0, blank) + "/" + line.substr(blank + 1, equals - blank - 1),
                line.substr(equals + 1) + "\n");
    }
  }
}

// The blocks of hwinfo's report by device file.
inline std::map<std::string, std::string> disks(const std::string& report) {
  std::map<std::string, std::string> result;
  for (std::size_t begin = 0; begin < report.size();) {
    const std::size_t end = std::min(report.find("\n\n", begin), report.size());
    const std::string block = report.substr(begin, end - begin) + "\n";
    const std::string file = between(block, "Device File: ", "\n");
    if (!file.empty()) result[file.substr(0, file.find(' '))] = block;
    begin = end + 2;
  }
  return result;
}

}  // namespace inventory
