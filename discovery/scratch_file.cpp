#include "discovery/scratch_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace discovery {

namespace {

constexpr char scratch_file[] = "/tmp/sgMap.txt";
constexpr char removal[] = "rm -rf /tmp/sgMap.txt";

// Reports are some hundred kB where there are very many drives.
constexpr long most_bytes = 16L << 20;

struct Close {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Where the shell could not be started, or the file not be opened, as in a process without
// descriptors left. What somebody else has put there stays.
void remove_own_file() {
  struct stat status {};
  if (lstat(scratch_file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid())
    unlink(scratch_file);
}

bool is_pipe() {
  struct stat status {};
  return stat(scratch_file, &status) == 0 && S_ISFIFO(status.st_mode);
}

// Lets no exception out: the file has to be removed.
std::optional<std::string> text_of(std::FILE* file) noexcept {
  std::fseek(file, 0, SEEK_END);
  const long size = std::ftell(file);
  std::rewind(file);
  if (size > most_bytes) return std::nullopt;
  try {
    std::string text(size > 0 ? static_cast<std::size_t>(size) : 0, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file));
    text.resize(strnlen(text.data(), text.size()));
    return text;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

}  // namespace

std::optional<std::string> through_scratch_file(const std::string& command) {
  // Opening somebody's pipe would wait for its other end, maybe for ever.
  if (is_pipe()) return std::nullopt;
  // A failing command shows in what it wrote.
  [[maybe_unused]] const int written = std::system((command + " > " + scratch_file).c_str());
  std::unique_ptr<std::FILE, Close> file(std::fopen(scratch_file, "re"));
  if (!file) {
    remove_own_file();
    return std::nullopt;
  }
  std::optional<std::string> text = text_of(file.get());
  file.reset();
  if (std::system(removal) != 0) remove_own_file();
  return text;
}

}  // namespace discovery
