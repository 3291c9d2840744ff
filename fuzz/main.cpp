// Runs a target over stored inputs. The arguments are files, and folders whose files are meant. The
// build that searches for inputs does not use this file: the compiler's search has its own main.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> files_of(const fs::path& place) {
  if (!fs::is_directory(place)) return {place};
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(place))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fs::path& file : files_of(argv[i])) {
      std::ifstream stream(file, std::ios::binary);
      if (!stream) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return 1;
      }
      const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
      // Flushed, so that the last line names the input if the target ends the process.
      std::printf("%s\n", file.c_str());
      std::fflush(stdout);
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
      ++count;
    }
  }
  std::printf("%zu inputs\n", count);
  // A missing corpus must not look like one that passes.
  return count == 0 ? 1 : 0;
}
