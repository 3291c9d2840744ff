// The probe under each arrangement that an object manager may have for its children.
#include <signal.h>

#include "providers/probe_test.h"

namespace ovk_cimple {
namespace {

using testing::ElementsAre;

// Arranges SIGCHLD as an object manager would, for as long as this lives.
class ChildSignal {
 public:
  ChildSignal(void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &previous_);
  }
  ChildSignal(const ChildSignal&) = delete;
  ~ChildSignal() { sigaction(SIGCHLD, &previous_, nullptr); }

 private:
  struct sigaction previous_;
};

void reap_any(int) {
  const int saved = errno;
  while (next<pid_t(pid_t, int*, int)>("waitpid")(-1, nullptr, WNOHANG) > 0) {
  }
  errno = saved;
}

struct Arrangement {
  const char* name;
  void (*handler)(int);
  int flags;
  int entry_of_a_killed_child;  // 1: nobody saw how it ended
} const kArrangements[] = {{"Default", SIG_DFL, 0, 0},
                           {"Ignored", SIG_IGN, 0, 1},
                           {"NoChildWait", SIG_DFL, SA_NOCLDWAIT, 1},
                           {"HandlerThatReaps", reap_any, SA_RESTART, 1},
                           {"HandlerThatInterrupts", reap_any, 0, 1}};

class UnderChildSignal : public ProbeTest, public testing::WithParamInterface<Arrangement> {};

TEST_P(UnderChildSignal, OnlyASignalThatWasSeenCountsAgainstTheDevice) {
  const ChildSignal signal(GetParam().handler, GetParam().flags);
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  wait_for_child = Wait::IsLate;
  for (const auto& [how, entry] : {std::pair{Child::Ordinary, 1},
                                   {Child::ExitsOtherwise, 1},
                                   {Child::FailsToStart, 1},
                                   {Child::IsKilled, GetParam().entry_of_a_killed_child},
                                   {Child::Hangs, GetParam().entry_of_a_killed_child}}) {
    child = how;
    Status status;
    provider_.probe(status);
    EXPECT_EQ(status[0], entry) << static_cast<int>(how);
  }
}

TEST_P(UnderChildSignal, WithoutASightOfTheChildsEndTheDeviceCountsAsReadable) {
  const ChildSignal signal(GetParam().handler, GetParam().flags);
  add(bus_device_instance(0, "/dev/sda", "Disk"));
  child = Child::IsKilled;
  wait_for_child = Wait::Fails;
  Status status;
  provider_.probe(status);
  EXPECT_EQ(status[0], 1);
  EXPECT_EQ(waits, 1);
  reap_all();
}

TEST_P(UnderChildSignal, AnEnumerationDecidesTheSame) {
  const ChildSignal signal(GetParam().handler, GetParam().flags);
  for (int i = 0; i < 3; ++i) {
    const std::string name = std::string("/dev/sd") + static_cast<char>('a' + i);
    cimom_.drives.push_back(drive_instance(name));
    cimom_.bus_devices.push_back(bus_device_instance(i, name, i == 2 ? "Vellacore" : "Disk"));
  }
  write_reports(test_block("0:0:0:0", "ahci", "/dev/sda", 0) +
                    test_block("0:0:1:0", "mptsas", "/dev/sdb", 1) +
                    test_block("0:0:2:0", "ahci", "/dev/sdc", 2),
                "");
  EXPECT_THAT(offered_names(), ElementsAre("/dev/sda"));
  // hwinfo is asked about each drive's address and those before it, and about the adapter's name in
  // the lines of both.
  EXPECT_THAT(take_calls(), testing::SizeIs(2 + 1 + 2 + 3 + 2));
  EXPECT_FALSE(std::filesystem::exists("/tmp/sgMap.txt"));
}

INSTANTIATE_TEST_SUITE_P(Of, UnderChildSignal, testing::ValuesIn(kArrangements),
                         [](const auto& one) { return std::string(one.param.name); });

}  // namespace
}  // namespace ovk_cimple
