// A folder for this process alone, for targets whose reader reads files. It is removed when the
// process ends. What a process leaves that ended with a finding is removed by fuzz/run.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace fuzz {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = std::filesystem::temp_directory_path() / "hddtest_fuzz.XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  ScratchFolder(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace fuzz
