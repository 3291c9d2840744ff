// A folder of this process alone, for targets whose reader reads files. Removed at the process's
// end; fuzz/run clears away what a finding leaves behind.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace fuzz {

class Scratch_Folder {
 public:
  Scratch_Folder() {
    std::string name = std::filesystem::temp_directory_path() / "hddtest_fuzz.XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    path_ = name;
  }
  ~Scratch_Folder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  Scratch_Folder(const Scratch_Folder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace fuzz
