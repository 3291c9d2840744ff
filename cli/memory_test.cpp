#include "cli/memory.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "broker/cimxml/memory_of_process.h"

namespace cli {
namespace {

using broker::cimxml::kMemoryIsTelling;
using broker::cimxml::resident_bytes;

constexpr std::size_t kMegabyte = 1 << 20;

using Block = std::unique_ptr<char[]>;

// Filled, so that it is resident.
std::vector<Block> blocks(std::size_t bytes) {
  std::vector<Block> blocks(bytes / 1024);
  for (Block& block : blocks) {
    block = std::make_unique<char[]>(1024 - 16);
    block[0] = 1;
  }
  return blocks;
}

TEST(FreeMemory, GoesBackAlsoFromBetweenWhatIsStillUsed) {
  if (!kMemoryIsTelling) GTEST_SKIP() << "the sanitizers keep memory that was freed";
  FreeMemory memory;
  memory.look();
  const std::size_t before = resident_bytes();
  std::vector<Block> all = blocks(64 * kMegabyte);
  std::vector<Block> used;
  for (std::size_t number = 0; number < all.size(); number += 100)
    used.push_back(std::move(all[number]));
  all.clear();
  ASSERT_GT(resident_bytes(), before + 32 * kMegabyte) << "the C library keeps it";
  memory.look();
  EXPECT_LT(resident_bytes(), before + 16 * kMegabyte);
}

// Gives back too what was taken before an earlier look.
TEST(FreeMemory, IsLookedForAgainAfterEachChange) {
  if (!kMemoryIsTelling) GTEST_SKIP() << "the sanitizers keep memory that was freed";
  FreeMemory memory;
  memory.look();
  const std::size_t before = resident_bytes();
  for (int time = 0; time < 3; ++time) {
    std::vector<Block> all = blocks(32 * kMegabyte);
    memory.look();
    std::vector<Block> last;
    last.push_back(std::move(all.back()));
    all.clear();
    memory.look();
    EXPECT_LT(resident_bytes(), before + 8 * kMegabyte) << time;
  }
}

}  // namespace
}  // namespace cli
