#include "discovery/scratch_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <new>

#include "discovery/scratch_file_lock.h"

namespace {

int until_failure = 0;  // requests for memory, the last of which fails; 0: none

}  // namespace

void* operator new(std::size_t size) {
  void* const block = until_failure > 0 && --until_failure == 0 ? nullptr : std::malloc(size);
  if (!block) throw std::bad_alloc();
  return block;
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace discovery {
namespace {

namespace fs = std::filesystem;

constexpr char scratch_file[] = "/tmp/sgMap.txt";
constexpr char command[] = "echo a report that is too long for the inside of a string object";
constexpr char report[] = "a report that is too long for the inside of a string object\n";

std::ptrdiff_t open_descriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
}

TEST(ScratchFile, IsClosedAndRemovedWhereverMemoryRunsOut) {
  const ScratchFileLock lock;
  const std::string text = command;
  const auto descriptors = open_descriptors();
  int failed = 0;
  for (int number = 1; number <= 6; ++number) {
    SCOPED_TRACE(number);
    std::optional<std::string> answer;
    until_failure = number;
    try {
      answer = through_scratch_file(text);
    } catch (const std::bad_alloc&) {
    }
    failed += until_failure == 0;
    until_failure = 0;
    EXPECT_TRUE(!answer || *answer == report) << *answer;
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_FALSE(fs::exists(scratch_file));
  }
  EXPECT_GE(failed, 2) << "the command's text and the report";
  EXPECT_LT(failed, 6) << "without a fault it is not played";
  EXPECT_EQ(through_scratch_file(text), report);
}

TEST(ScratchFile, IsReadUpToItsFirstNul) {
  const ScratchFileLock lock;
  EXPECT_EQ(through_scratch_file("printf 'one\\000two'"), "one");
  EXPECT_EQ(through_scratch_file("true"), "");
}

TEST(ScratchFile, PipeOfThatNameIsNotOpened) {
  const ScratchFileLock lock;
  ASSERT_EQ(mkfifo(scratch_file, 0666), 0);
  const int both_ends = open(scratch_file, O_RDWR | O_CLOEXEC);  // so that opening it never waits
  EXPECT_FALSE(through_scratch_file("true").has_value());
  EXPECT_TRUE(fs::remove(scratch_file)) << "it was taken for the scratch file";
  close(both_ends);
}

TEST(ScratchFile, IsNotReadPastItsLimit) {
  const ScratchFileLock lock;
  EXPECT_TRUE(through_scratch_file("head -c 16777216 /dev/zero").has_value());
  EXPECT_FALSE(through_scratch_file("head -c 16777217 /dev/zero").has_value());
  EXPECT_FALSE(fs::exists(scratch_file));
}

}  // namespace
}  // namespace discovery
