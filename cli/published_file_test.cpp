#include "cli/published_file.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "cli/failure.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class PublishedFile : public testing::Test {
 protected:
  PublishedFile() {
    std::string name = fs::temp_directory_path() / "published_file.XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    folder_ = name;
  }
  ~PublishedFile() override { fs::remove_all(folder_); }

  static std::string text_of(const fs::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::size_t count() const {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
  }
  static std::string fault_of(const fs::path& file) {
    try {
      publish(file, "new");
    } catch (const CommandFailure& failure) {
      return failure.what();
    }
    return "";
  }

  fs::path folder_;
};

TEST_F(PublishedFile, IsForEverybodyToReadWhateverTheMaskSays) {
  const mode_t before = umask(0077);
  publish(folder_ / "file", "one");
  publish(folder_ / "file", "two");
  umask(before);
  EXPECT_EQ(text_of(folder_ / "file"), "two");
  EXPECT_EQ(fs::status(folder_ / "file").permissions(), fs::perms(0644));
  EXPECT_EQ(count(), 1U);
}

TEST_F(PublishedFile, LeavesAloneWhatIsNoFile) {
  std::ofstream(folder_ / "target") << "old";
  fs::create_directory(folder_ / "folder");
  fs::create_symlink("target", folder_ / "link");
  fs::create_symlink("nowhere", folder_ / "dangling");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  EXPECT_THAT(fault_of(folder_ / "folder"), HasSubstr("it is a folder"));
  EXPECT_THAT(fault_of(folder_ / "folder" / ""), HasSubstr("it is a folder"));
  EXPECT_THAT(fault_of(folder_ / "link"), HasSubstr("it is a link"));
  EXPECT_THAT(fault_of(folder_ / "dangling"), HasSubstr("it is a link"));
  EXPECT_THAT(fault_of(folder_ / "pipe"), HasSubstr("it is no regular file"));
  EXPECT_THAT(fault_of(folder_ / "nowhere" / "file"), HasSubstr("No such file or directory"));
  EXPECT_THAT(fault_of(folder_ / "target" / "file"), HasSubstr("Not a directory"));
  EXPECT_EQ(text_of(folder_ / "target"), "old");
  EXPECT_TRUE(fs::is_symlink(folder_ / "link"));
  EXPECT_EQ(count(), 5U);
}

TEST_F(PublishedFile, StaysWhereThereIsNoRoomForTheNewOne) {
  publish(folder_ / "file", "old");
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit limit{8, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &limit);
  std::string fault;
  try {
    publish(folder_ / "file", std::string(64, 'x'));
  } catch (const CommandFailure& failure) {
    fault = failure.what();
  }
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_THAT(fault, HasSubstr("File too large"));
  EXPECT_EQ(text_of(folder_ / "file"), "old");
  EXPECT_EQ(count(), 1U);
}

TEST_F(PublishedFile, IsNeverSeenInPart) {
  const fs::path file = folder_ / "file";
  publish(file, std::string(200'000, 'a'));
  std::atomic<bool> is_over = false;
  std::size_t parts = 0;
  std::thread reader([&] {
    while (!is_over) parts += text_of(file).size() != 200'000;
  });
  for (const char letter : std::string("bcdefghijk")) publish(file, std::string(200'000, letter));
  is_over = true;
  reader.join();
  EXPECT_EQ(parts, 0U);
}

}  // namespace
}  // namespace cli
