// Where a measurement writes.
#pragma once

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace bench {

// Makes a folder that the caller removes. Without one nothing can be measured: the process ends.
inline std::filesystem::path make_scratch_folder() {
  std::string name = std::filesystem::temp_directory_path() / "hddtest_bench.XXXXXX";
  if (mkdtemp(name.data())) return name;
  std::perror("a temporary folder");
  std::exit(1);
}

}  // namespace bench
