// Memory that runs out at any allocation, ours or SQLite's: nothing is lost, and nothing that
// failed is kept.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <cstdio>
#include <limits>

#include "drivetest/history_case.h"
#include "tests/replaced_memory.h"

namespace {

constexpr long kPlenty = std::numeric_limits<long>::max();
long left = kPlenty;  // allocations until one fails

bool is_due() { return left != kPlenty && --left == 0; }

}  // namespace

static void* allocate(std::size_t size) { return is_due() ? nullptr : std::malloc(size); }

namespace drivetest {
namespace {

sqlite3_mem_methods usual;

class HistoryMemoryTest : public HistoryCase {
 protected:
  // Returns what went wrong; "" if nothing did.
  static const char* fault(const HistoryOptions& options) {
    sqlite3_shutdown();
    sqlite3_config(SQLITE_CONFIG_GETMALLOC, &usual);
    sqlite3_mem_methods methods = usual;
    methods.xMalloc = [](int size) { return is_due() ? nullptr : usual.xMalloc(size); };
    methods.xRealloc = [](void* block, int size) {
      return is_due() ? nullptr : usual.xRealloc(block, size);
    };
    sqlite3_config(SQLITE_CONFIG_MALLOC, &methods);
    { History history(options); }
    bool has_failed = true;
    unsigned failures = 0;
    for (long at = 1; has_failed; ++at) {
      const Drive one = drive(1);
      const TestRow row = begun_row();
      std::int64_t begun = 0;
      bool is_ended = false;
      has_failed = false;
      left = at;
      try {
        History history(options);
        begun = history.begin(one, row).number;
        const TestRow end = ended_row(begun);
        is_ended = history.update(end);
      } catch (const std::bad_alloc&) {
        has_failed = true;
      } catch (const HistoryError&) {
        has_failed = true;
      }
      left = kPlenty;
      failures += has_failed;
      History history(options);
      const std::optional<KeptTest> running = history.running(one.identity());
      if (!history.take_notes().empty()) return "it was taken for damage";
      if (begun == 0 && running) return "it was begun though it failed";
      if (begun != 0 && !history.find(begun)) return "what was begun is lost";
      if (is_ended && history.find(begun)->row.outcome != Outcome::Passed)
        return "what has ended is lost";
      if (running && !history.update(ended_row(running->row.number))) return "it cannot be ended";
    }
    return failures > 100 ? "" : "it hardly ever failed";
  }
};

TEST_F(HistoryMemoryTest, LosesNothing) {
  const HistoryOptions options = this->options();
  const pid_t child = fork();
  if (child == 0) {
    const char* const what = fault(options);
    if (*what != '\0') fprintf(stderr, "%s\n", what);
    _exit(*what != '\0');
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace drivetest
