// Lives of drives that come from a seed, over the library and its history, held against what the
// drives really did. In the environment HDDTEST_LIVES says how many, HDDTEST_LIVES_SEED another
// seed, and HDDTEST_LIFE the number of the only one that is played, with the rows after each step.
// A life with a fault is shortened as long as it has one.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "tests/drivetest/random/judge.h"

namespace random_lives {
namespace {

std::uint64_t setting(const char* name, std::uint64_t usual) {
  const char* const text = std::getenv(name);
  return text && *text ? std::strtoull(text, nullptr, 10) : usual;
}

// In memory, since each change of the history waits for the disk.
std::filesystem::path make_folder() {
  const bool has_memory = std::filesystem::exists("/dev/shm");
  std::string name = (has_memory ? "/dev/shm/" : testing::TempDir()) + "hddtest_lives.XXXXXX";
  if (!mkdtemp(name.data())) std::abort();
  return name;
}

class RandomLives : public testing::TestWithParam<std::uint64_t> {
 protected:
  ~RandomLives() override { std::filesystem::remove_all(folder_); }

  // What is wrong in the life, and after which step; empty: nothing.
  std::string fault_of(const Life& life, std::ostream* out = nullptr) {
    const std::filesystem::path state = folder_ / "state";
    std::filesystem::remove_all(state);
    PlayedMachine machine(life, state);
    Judge judge(machine);
    std::size_t number = 0;
    try {
      for (const Step& step : life.steps) {
        ++number;
        machine.take(step);
        if (out) show(*out, text_of(step), machine);
        judge.judge();
      }
      ++number;
      machine.settle();
      if (out) show(*out, "everything settles", machine);
      judge.judge();
    } catch (const Violation& violation) {
      return "after step " + std::to_string(number) + ": " + violation.what();
    }
    return {};
  }

  // The shortest life of its kind that is still wrong, found by leaving out steps.
  Life shortened(Life life) {
    for (bool is_shorter = true; is_shorter;) {
      is_shorter = false;
      for (std::size_t step = life.steps.size(); step-- > 0;) {
        Life shorter = life;
        shorter.steps.erase(shorter.steps.begin() + static_cast<std::ptrdiff_t>(step));
        if (fault_of(shorter).empty()) {
          if (!life.steps[step].meanwhile) continue;
          shorter = life;
          shorter.steps[step].meanwhile.reset();
          if (fault_of(shorter).empty()) continue;
        }
        life = shorter;
        is_shorter = true;
      }
    }
    for (Traits& traits : life.drives) make_plainer(life, traits);
    return life;
  }

  void make_plainer(Life& life, Traits& traits) {
    const Traits plain;
    const auto try_plain = [&](auto Traits::*member) {
      const auto before = std::exchange(traits.*member, plain.*member);
      if (fault_of(life).empty()) traits.*member = before;
    };
    try_plain(&Traits::old_entries);
    try_plain(&Traits::old_result);
    try_plain(&Traits::first_hour);
    try_plain(&Traits::pace);
    try_plain(&Traits::seconds_to_show);
    try_plain(&Traits::clock);
    for (const auto member :
         {&Traits::has_log, &Traits::log_grows, &Traits::keeps_aborted, &Traits::keeps_interrupted,
          &Traits::shows_running_row, &Traits::leaves_running_row, &Traits::forgets_status,
          &Traits::tells_hours, &Traits::tells_power_cycles, &Traits::old_are_equal,
          &Traits::gets_stuck, &Traits::obeys_stop, &Traits::has_world_wide_name})
      try_plain(member);
  }

  static void show(std::ostream& out, const std::string& step, PlayedMachine& machine) {
    out << step << "\n";
    for (const drivetest::KeptTest& kept : machine.rows()) {
      const drivetest::TestRow& row = kept.row;
      out << "     row " << row.number << " drive " << kept.drive.serial_number << " "
          << name_of(row.source) << " " << (row.kind ? name_of(*row.kind) : "test") << " "
          << (row.outcome ? name_of(*row.outcome) : "running") << " " << row.cause << ", hours "
          << (row.hours ? std::to_string(*row.hours) : "-") << "\n";
    }
  }

  const std::filesystem::path folder_ = make_folder();
};

// Parts of the lives, which are tests of their own so that they can be played side by side.
constexpr std::uint64_t kParts = 4;
INSTANTIATE_TEST_SUITE_P(Parts, RandomLives, testing::Range<std::uint64_t>(0, kParts));

TEST_P(RandomLives, AreKeptAsTheyWere) {
  const std::uint64_t seed = setting("HDDTEST_LIVES_SEED", 1);
  const std::uint64_t only = setting("HDDTEST_LIFE", 0);
  const std::uint64_t lives = only ? only : setting("HDDTEST_LIVES", 10'000);
  std::cout << lives << " lives of seed " << seed << "\n";
  int faults = 0;
  for (std::uint64_t number = only ? only : 1; number <= lives; ++number) {
    if (number % kParts != GetParam()) continue;
    const Life life = life_of(seed, number);
    const std::string fault = fault_of(life, only ? &std::cout : nullptr);
    if (fault.empty()) continue;
    const Life shorter = shortened(life);
    std::ostringstream rows;
    const std::string shorter_fault = fault_of(shorter, &rows);
    ADD_FAILURE() << "HDDTEST_LIVES_SEED=" << seed << " HDDTEST_LIFE=" << number << ": " << fault
                  << "\nShortened:\n"
                  << text_of(shorter) << shorter_fault << "\n"
                  << rows.str();
    if (++faults == 3) break;
  }
}

}  // namespace
}  // namespace random_lives
