// What happens in a life, one step after the other, and the lives that come from a seed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/drivetest/random/played_drive.h"

namespace random_lives {

// What a drive makes of the command to begin a test, and what the tool says of it.
enum class Manner { Begins, Refuses, Pretends, BeginsAndSaysRefused, BeginsAndIsNotHeard };

struct Step {
  enum class What {
    Start,  // by hddtest
    Replace,
    Stop,
    Look,
    ModuleTest,
    Kill,        // of the process that works; only during another step
    NewProcess,  // the process ends well, and another one begins
    OtherStarts,
    OtherStops,
    Pass,       // time
    SwitchOff,  // the power, for a time
    Reboot,
    MoveClock,
    SwapNames,
    FailLooks,  // so many times
    Rest,       // standby
    FailHistory,
    MendHistory,
    Forget,
  };
  What what = What::Look;
  int name = 0;     // of the device
  int process = 0;  // who does it
  TestKind kind = TestKind::Short;
  int code = 1;    // of others' tests
  int result = 0;  // of the test that begins
  Manner manner = Manner::Begins;
  std::int64_t amount = 0;
  // Something else happens during the step: when so many of its calls have begun.
  std::shared_ptr<Step> meanwhile;
  int at = 0;
};

std::string text_of(const Step& step);

struct Life {
  std::vector<Traits> drives;
  std::vector<Step> steps;
};

// The same for the same numbers.
Life life_of(std::uint64_t seed, std::uint64_t number);

std::string text_of(const Life& life);

}  // namespace random_lives
