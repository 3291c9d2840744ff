#include "discovery/scratch_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

namespace discovery {

namespace {

constexpr char scratch_file[] = "/tmp/sgMap.txt";

// Where the shell could not be started, or the file not be opened, as in a process without
// descriptors left. What somebody else has put there stays.
void remove_own_file() {
  struct stat status {};
  if (lstat(scratch_file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid())
    unlink(scratch_file);
}

}  // namespace

std::optional<std::string> through_scratch_file(const std::string& command) {
  // A failing command shows in what it wrote.
  [[maybe_unused]] const int written = std::system((command + " > " + scratch_file).c_str());
  std::FILE* const file = std::fopen(scratch_file, "re");
  if (!file) {
    remove_own_file();
    return std::nullopt;
  }
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::rewind(file);
  const std::size_t count = size > 0 ? static_cast<std::size_t>(size) : 0;
  std::optional<std::string> text;
  if (const std::unique_ptr<char[]> bytes(new (std::nothrow) char[count + 1]); bytes) {
    bytes[std::fread(bytes.get(), 1, count, file)] = '\0';
    text = bytes.get();
  }
  std::fclose(file);
  if (std::system((std::string("rm -rf ") + scratch_file).c_str()) != 0) remove_own_file();
  return text;
}

}  // namespace discovery
