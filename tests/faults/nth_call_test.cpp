// Each call of an operation fails once: fork, pipe, open, write, memory, the object manager's
// functions. Also other things that are gone through one by one.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <iterator>
#include <new>
#include <tuple>

#include "discovery/scratch_file_lock.h"
#include "tests/faults/case.h"

namespace faults {

namespace fs = std::filesystem;

namespace {

constexpr int kMostAllocations = 500;
constexpr int kLongestSeconds = 500;  // of a test of many cases, on a machine under load

// A discovery makes many more calls; one in so many fails, up to its end.
constexpr int kLateAllocationStep = 3;

}  // namespace

const std::vector<FailingOperation>& operations() {
  static const auto& all = *new std::vector<FailingOperation>{
      {"Run",
       &World::run,
       {"failed", "no record", "no job", "CIM error 1"},
       "3 Entering KAVRO_HDDTest_DiagnosticService_Provider::RunDiagnostic",
       "3 Exiting KAVRO_HDDTest_DiagnosticService_Provider::RunDiagnostic",
       25},
      {"Discovery",
       &World::offered,
       {"/dev/sda", "none", "nameless", "CIM error 1"},
       "3 Entering KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances",
       "3 Exiting KAVRO_HDDTest_AvailableDiagnosticService_Provider::enum_instances",
       15},
      {"Drives",
       &World::drives,
       {"/dev/sda /dev/sdb", "/dev/sda", "/dev/sdb", "none", "CIM error 1"},
       nullptr,
       nullptr,
       50},
      {"Records", &World::listed_records, {"CIM error 1"}, nullptr, nullptr, 50},
  };
  return all;
}

namespace {

// The operation with a fault, and what has to hold right after it.
void perform(World& world, const FailingOperation& operation,
             const std::vector<std::string>& records, const std::function<void()>& arrange,
             bool has_log = true, const char* also_seen = "") {
  const auto before = world.traces();
  setenv("RESULT", ": read failure", 1);
  arrange();
  const std::string seen = (world.*operation.perform)();
  unsetenv("RESULT");
  std::string all_records;
  for (const std::string& record : records)
    all_records += (all_records.empty() ? "" : " ") + record;
  EXPECT_TRUE(operation.may_be_seen.contains(seen) || seen == all_records || seen == also_seen)
      << seen << world.log();
  std::string left;
  for (const std::string& trace : world.traces())
    if (!before.contains(trace)) left += trace + "\n";
  EXPECT_EQ(left, "") << "left behind";
  // The fault may cost one of the two lines, but not both.
  const bool reached =
      !seen.starts_with("CIM error") && seen != "out of memory" && seen != "no job";
  if (has_log && reached && operation.first_log) {
    EXPECT_TRUE(world.logged(operation.first_log) || world.logged(operation.last_log))
        << seen << ", log:\n"
        << world.log();
  }
  if (seen != "failed") return;
  const std::string text = world.text_of_last_record();
  EXPECT_TRUE(text.empty() || text.starts_with("HDST-100: ")) << text;
}

// What a child reports while it lives, since it may die.
struct Progress {
  int number = 0;     // of the call that fails now
  bool done = false;  // there are no more
};
struct Shared {
  Progress& progress = *new (mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Progress;
  ~Shared() { munmap(&progress, sizeof progress); }
};

// Cold: the operation is the first of its process, so that the module is loaded in it.
enum class Start { Warm, Cold };

using Parameter = std::tuple<Call, int /* of operations() */, Start>;

std::string name_of(const testing::TestParamInfo<Parameter>& info) {
  static constexpr const char* kKinds[] = {"Fork", "Pipe", "Open", "Write", "Allocation", "Broker"};
  const auto& [kind, operation, start] = info.param;
  return std::string(kKinds[static_cast<int>(kind)]) + "In" +
         (start == Start::Cold ? "First" : "") + operations()[operation].name;
}

void warm_up(World& world) {
  world.expect_well({});
  world.expect_well({});
  EXPECT_EQ(world.drives(), "/dev/sda /dev/sdb");
}

class NthCall : public testing::TestWithParam<Parameter> {};

void fail_each_call(Call kind, const FailingOperation& operation, Start start) {
  const bool is_long = kind == Call::Allocation && operation.perform != &World::offered;
  const int most = is_long ? kMostAllocations : INT_MAX;
  World world;
  world.holds_scratch_file = operation.perform == &World::offered;
  if (start == Start::Warm) warm_up(world);
  int step = 1;
#if defined(__SANITIZE_ADDRESS__)
  // The probe's forks take longest.
  if (world.holds_scratch_file) step = kind == Call::Allocation ? 12 : 4;
#endif
  const Shared shared;
  int& number = shared.progress.number;
  const auto next_number = [&] {
    const bool is_late = kind == Call::Allocation && number >= kMostAllocations;
    return number + (is_late ? std::max(step, kLateAllocationStep) : step);
  };
  bool& done = shared.progress.done;
  while (!done && number < most && !testing::Test::HasFailure()) {
    in_child([&] {
      const int most_here = start == Start::Cold ? 1 : operation.in_one_process;
      // Not asked for where the operation has to be the first of its process.
      const auto records = [&] {
        return start == Start::Warm ? world.records() : std::vector<std::string>();
      };
      const auto earlier = records();
      for (int here = 0; !done && number < most && here < most_here; ++here) {
        number = next_number();
        SCOPED_TRACE(number);
        perform(
            world, operation, records(), [&] { world.fail(kind, number); }, true,
            // An error of the object manager, a part of this program, that got no memory itself.
            kind == Call::Allocation ? "out of memory" : "");
        done = number > world.calls();
      }
      world.expect_well(earlier);
    });
    if (testing::Test::HasFailure()) ADD_FAILURE() << "by call " << number;
  }
  EXPECT_GT(number, step) << "nothing failed";
}

TEST_P(NthCall, FailsAndNothingElse) {
  const auto kind = std::get<0>(GetParam());
  const auto index = std::get<1>(GetParam());
  const auto start = std::get<2>(GetParam());
  const FailingOperation& operation = operations()[index];
  std::optional<discovery::ScratchFileLock> lock;
  if (operation.perform == &World::offered) lock.emplace();
  in_child([&] { fail_each_call(kind, operation, start); }, kLongestSeconds);
}

INSTANTIATE_TEST_SUITE_P(Run, NthCall,
                         testing::Combine(testing::Values(Call::Fork, Call::Pipe, Call::Open,
                                                          Call::Write, Call::Broker),
                                          testing::Values(0), testing::Values(Start::Warm)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(Discovery, NthCall,
                         testing::Combine(testing::Values(Call::Fork, Call::Pipe, Call::Open,
                                                          Call::Write, Call::Broker),
                                          testing::Values(1), testing::Values(Start::Warm)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(Listing, NthCall,
                         testing::Combine(testing::Values(Call::Open, Call::Broker),
                                          testing::Values(2, 3), testing::Values(Start::Warm)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(ListingLog, NthCall,
                         testing::Values(Parameter{Call::Write, 3, Start::Warm}), name_of);
INSTANTIATE_TEST_SUITE_P(Memory, NthCall,
                         testing::Combine(testing::Values(Call::Allocation),
                                          testing::Values(0, 1, 2, 3),
                                          testing::Values(Start::Warm)),
                         name_of);
INSTANTIATE_TEST_SUITE_P(FirstMemory, NthCall,
                         testing::Values(Parameter{Call::Allocation, 0, Start::Cold}), name_of);

// Runs in a process of its own, since the module remembers where its log is.
void in_warm_world(const std::function<void(World&)>& work) {
  const discovery::ScratchFileLock lock;
  in_child(
      [&] {
        World world;
        world.holds_scratch_file = true;
        warm_up(world);
        work(world);
      },
      kLongestSeconds);
}

void perform_each(World& world, const std::function<void()>& arrange, bool has_log = true) {
  in_child([&] {
    const auto earlier = world.records();
    for (const FailingOperation& operation : operations()) {
      SCOPED_TRACE(operation.name);
      perform(world, operation, world.records(), arrange, has_log);
    }
    world.expect_well(earlier);
  });
}

TEST(OneByOne, FunctionOfTheObjectManagerAlwaysFails) {
  in_warm_world([](World& world) {
    for (const char* name : world.broker_functions()) {
      SCOPED_TRACE(name);
      perform_each(world, [&] { world.refuse(name); });
    }
  });
}

TEST(OneByOne, AttributeOfSysfsVanishes) {
  in_warm_world([](World& world) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(world.place("/sys")))
      files.push_back(entry.path());
    for (const auto& file : files) {
      SCOPED_TRACE(file);
      in_child([&] {
        const auto aside = world.place("/aside");
        fs::rename(file, aside);
        for (const int drives_then_discovery : {2, 1})
          perform(world, operations()[drives_then_discovery], {}, [] {});
        fs::rename(aside, file);
        EXPECT_EQ(world.drives(), "/dev/sda /dev/sdb");
      });
    }
  });
}

TEST(OneByOne, DriveGoesInMidListing) {
  in_warm_world([](World& world) {
    const auto device = fs::canonical(world.place("/sys/block/sda/device"));
    const auto aside = world.tree.root() + ".aside";  // out of sight of the traces
    int opens = 1;
    for (int number = 1; number <= opens; ++number) {
      SCOPED_TRACE(number);
      opens = 0;
      perform(world, operations()[2], {}, [&] {
        settings().on_open = [&] {
          if (++opens == number) fs::rename(device, aside);
        };
      });
      if (!fs::exists(device)) fs::rename(aside, device);
      EXPECT_EQ(world.drives(), "/dev/sda /dev/sdb");
    }
    EXPECT_GT(opens, 10);
  });
}

// The message file ends at any byte. Every run has its record with the right state, whose text is
// the beginning of the whole file's text.
TEST(OneByOne, MessageFileIsCutAtEveryByte) {
  in_warm_world([](World& world) {
    const auto file = world.place("/hddtest/hddtest.msg.xml");
    const auto size = fs::file_size(file);
    settings().hidden =
        "/smartctl";  // a run without programs is short enough to be done for each byte
    ASSERT_EQ(world.run(), "failed");
    const std::string whole = world.text_of_last_record();
    ASSERT_TRUE(whole.starts_with("HDST-100: ")) << whole;
    std::ifstream stream(file);
    const std::string messages{std::istreambuf_iterator<char>(stream), {}};
    const auto in_file = messages.find("</result>", messages.find("HDST-100")) + 9;
    constexpr std::uintmax_t kInOneChild = 40;  // each lists the records of all before
    std::uintmax_t end = 0;
    for (std::uintmax_t rest = size; rest > 0; rest = end) {
      end = rest - std::min(rest, kInOneChild);
      in_child([&] {
        fs::resize_file(file, rest);
        const auto before = world.traces();
        for (std::uintmax_t cut = rest; cut > end;) {
          --cut;
          fs::resize_file(file, cut);
          EXPECT_EQ(world.run(), "failed") << cut;
          EXPECT_TRUE(world.logged("0 Check SMART support status /dev/sda Failed")) << cut;
          const std::string text = world.text_of_last_record();
          EXPECT_TRUE(whole.starts_with(text)) << cut << ": " << text;
          EXPECT_EQ(text.empty(), cut < in_file) << cut << ": " << text;
        }
        EXPECT_EQ(world.traces(), before) << "left behind";
      });
    }
  });
}

TEST(OneByOne, DescriptorsAreShortByAnyNumber) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizers open pipes to see whether they may look at an object";
#endif
  in_warm_world([](World& world) {
    for (int free = 0; free < 12; ++free) {
      SCOPED_TRACE(free);
      perform_each(
          world, [&] { world.limit(RLIMIT_NOFILE, 3 + free); }, false);
    }
  });
}

}  // namespace
}  // namespace faults
