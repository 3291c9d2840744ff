// A folder for what a fuzz target or a measurement writes.
#pragma once

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// Below the folder for temporary files, removed with all that is in it when its owner goes. Without
// one there is nothing to do: the process ends.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = std::filesystem::temp_directory_path() / "hddtest_scratch.XXXXXX";
    if (!mkdtemp(name.data())) {
      std::perror("a temporary folder");
      std::exit(1);
    }
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code error;
    std::filesystem::remove_all(path_, error);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};
