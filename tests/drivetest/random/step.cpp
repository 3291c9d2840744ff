#include "tests/drivetest/random/step.h"

#include <array>

#include "tests/drivetest/random/dice.h"

namespace random_lives {

namespace {

using What = Step::What;

constexpr int kNames = 2;
constexpr Seconds kHour = 3600;
constexpr Seconds kDay = 24 * kHour;

// The log of an NVMe drive has the counter of hours that the drive tells.
void keep_to_standard(Traits& traits) {
  if (traits.protocol == Protocol::Nvme) traits.clock = Traits::Clock::PowerOn;
}

Traits traits_by(Dice& dice) {
  Traits traits;
  traits.protocol = dice.one_of({Protocol::Ata, Protocol::Ata, Protocol::Scsi, Protocol::Nvme});
  const bool is_ata = traits.protocol == Protocol::Ata;
  traits.rows = is_ata ? dice.one_of({21, 21, 19, 25}) : dice.one_of({20, 20, 20, 18});
  traits.first_hour = dice.one_of({1000, 1000, 0, 65530, 65535, 65592, 131060});
  traits.old_entries = dice.one_of<std::int64_t>({0, 0, 3, traits.rows - 1, traits.rows});
  traits.shows_running_row = traits.protocol == Protocol::Scsi || dice.once_in(3);
  if (traits.protocol == Protocol::Nvme) traits.shows_running_row = false;
  traits.pace = dice.one_of({100, 100, 70, 130, 400});
  traits.seconds_to_show = dice.one_of({0, 0, 0, 2, 5});
  if (dice.once_in(2)) return traits;  // half of the drives are honest
  traits.keeps_interrupted = !dice.once_in(3);
  traits.keeps_aborted = !dice.once_in(4);
  traits.has_log = !is_ata || !dice.once_in(8);
  traits.log_grows = !dice.once_in(10);
  traits.leaves_running_row = dice.once_in(3);
  traits.forgets_status = dice.once_in(2);
  traits.tells_hours = !dice.once_in(5);
  traits.tells_power_cycles = !dice.once_in(5);
  traits.clock =
      dice.one_of({Traits::Clock::PowerOn, Traits::Clock::PowerOn, Traits::Clock::PowerOn,
                   Traits::Clock::Zero, Traits::Clock::Constant, Traits::Clock::Other});
  keep_to_standard(traits);
  traits.old_are_equal = dice.once_in(3);
  traits.gets_stuck = dice.once_in(10);
  traits.obeys_stop = !dice.once_in(8);
  traits.has_world_wide_name = !dice.once_in(3);
  return traits;
}

Seconds duration_by(Dice& dice) {
  return dice.one_of<Seconds>(
             {3, 30, 60, 150, 1200, kHour, 3 * kHour, 12 * kHour, 2 * kDay, 9 * kDay, 400 * kDay}) +
         dice.below(20);
}

Step step_by(Dice& dice) {
  Step step;
  step.what = dice.one_of(
      {What::Start,       What::Start,       What::Start,      What::Start,      What::Replace,
       What::Stop,        What::Stop,        What::Look,       What::Look,       What::Look,
       What::Look,        What::ModuleTest,  What::NewProcess, What::NewProcess, What::OtherStarts,
       What::OtherStarts, What::OtherStops,  What::Pass,       What::Pass,       What::Pass,
       What::Pass,        What::Pass,        What::SwitchOff,  What::SwitchOff,  What::Reboot,
       What::MoveClock,   What::SwapNames,   What::FailLooks,  What::Rest,       What::FailHistory,
       What::MendHistory, What::MendHistory, What::Forget});
  step.name = dice.once_in(4) ? 1 : 0;
  step.process = static_cast<int>(dice.below(2));
  step.kind = dice.one_of({TestKind::Short, TestKind::Short, TestKind::Long, TestKind::Conveyance});
  step.code = dice.one_of({1, 1, 1, 2, 2, 3, 4, 0x81});
  step.result = dice.one_of({0, 0, 0, 0, 3, 5, 6, 7, 7, 12});
  step.manner = dice.once_in(4)
                    ? dice.one_of({Manner::Refuses, Manner::Pretends, Manner::BeginsAndSaysRefused,
                                   Manner::BeginsAndIsNotHeard})
                    : Manner::Begins;
  step.amount = duration_by(dice);
  if (step.what == What::FailLooks) step.amount = 1 + dice.below(14);
  if (step.what == What::MoveClock && dice.once_in(2)) step.amount = -step.amount;
  return step;
}

// A drive of which the log is full of entries that new ones are equal to. Nothing tells whether
// such a log has got one more.
void fill_with_equals(Traits& traits, Dice& dice) {
  traits.has_log = traits.log_grows = true;
  traits.old_entries = traits.rows;
  traits.old_are_equal = true;
  traits.old_result = dice.one_of({0, 0, 7});
  traits.clock = dice.one_of({Traits::Clock::Zero, Traits::Clock::Constant});
  keep_to_standard(traits);
  traits.keeps_aborted = dice.once_in(2);
  traits.gets_stuck = false;
}

// An ATA drive of which the extended log has lost a test, or will with one of the next ones.
void give_long_blocks(Traits& traits, std::uint64_t number) {
  traits.protocol = Protocol::Ata;
  traits.has_log = traits.log_grows = true;
  traits.rows = 21;
  traits.old_entries = 18 + static_cast<std::int64_t>(number % 4);
  traits.old_are_equal = false;
  traits.has_long_blocks = true;
}

// Most tests of it would leave such an entry, and others come in between.
void make_equal(Step& step, const Traits& traits, Dice& dice) {
  if (dice.once_in(4)) return;
  step.what = dice.one_of({What::Start, What::Start, What::Start, What::Stop, What::Look,
                           What::Look, What::Look, What::OtherStarts, What::OtherStarts,
                           What::OtherStops, What::Pass, What::Pass, What::Pass});
  step.name = 0;
  step.kind = TestKind::Short;
  step.code = 1;
  step.result = traits.old_result;
  step.manner = Manner::Begins;
  step.amount = dice.one_of<Seconds>({3, 30, 60, 150, 1200});
}

bool has_calls(What what) {
  return what == What::Start || what == What::Replace || what == What::Stop || what == What::Look ||
         what == What::ModuleTest;
}

// What can happen while a process works. A reboot would end it.
bool can_be_meanwhile(What what) {
  return has_calls(what) || what == What::OtherStarts || what == What::OtherStops ||
         what == What::Pass || what == What::MoveClock || what == What::FailLooks ||
         what == What::FailHistory || what == What::MendHistory;
}

std::string_view name_of(What what) {
  constexpr std::array<std::string_view, 19> kNamesOfSteps = {
      "start",       "start --replace",   "stop",
      "look",        "module's test",     "kill",
      "new process", "other starts",      "other stops",
      "time passes", "power off",         "reboot",
      "clock moves", "names are swapped", "looks fail",
      "standby",     "history fails",     "history works",
      "forget"};
  return kNamesOfSteps.at(static_cast<std::size_t>(what));
}

std::string_view name_of(Manner manner) {
  constexpr std::array<std::string_view, 5> kManners = {
      "", " (refused)", " (accepted, nothing begins)", " (begins, is told to be refused)",
      " (begins, the tool says nothing)"};
  return kManners.at(static_cast<std::size_t>(manner));
}

}  // namespace

Life life_of(std::uint64_t seed, std::uint64_t number) {
  std::seed_seq mixed{seed, number};
  std::array<std::uint32_t, 2> words{};
  mixed.generate(words.begin(), words.end());
  Dice dice((std::uint64_t{words[0]} << 32) | words[1]);
  Life life;
  for (int drive = 0; drive < kNames; ++drive) life.drives.push_back(traits_by(dice));
  const std::int64_t steps = 5 + dice.below(20);
  for (std::int64_t step = 0; step < steps; ++step) {
    Step& made = life.steps.emplace_back(step_by(dice));
    if (!has_calls(made.what) || !dice.once_in(4)) continue;
    made.at = 1 + static_cast<int>(dice.below(5));
    made.meanwhile = std::make_shared<Step>(step_by(dice));
    made.meanwhile->process = 1 - made.process;
    made.meanwhile->amount %= 400;
    if (dice.once_in(2) || !can_be_meanwhile(made.meanwhile->what))
      made.meanwhile->what = What::Kill;
  }
  if (number % 8 == 0) {
    fill_with_equals(life.drives.front(), dice);
    for (Step& step : life.steps)
      if (!step.meanwhile) make_equal(step, life.drives.front(), dice);
  }
  if (number % 8 == 4) give_long_blocks(life.drives.front(), number / 8);
  return life;
}

std::string text_of(const Step& step) {
  std::string text(name_of(step.what));
  const auto add = [&](bool is_so, const std::string& words) {
    if (is_so) text += " " + words;
  };
  const bool begins =
      step.what == What::Start || step.what == What::Replace || step.what == What::ModuleTest;
  const bool is_of_drive = has_calls(step.what) || step.what == What::OtherStarts ||
                           step.what == What::OtherStops || step.what == What::FailLooks ||
                           step.what == What::Rest;
  add(is_of_drive, step.name == 0 ? "sda" : "sdb");
  add(has_calls(step.what) || step.what == What::NewProcess || step.what == What::Forget,
      "by " + std::to_string(step.process));
  add(begins, std::string(drivetest::name_of(step.kind)));
  add(step.what == What::OtherStarts, "code " + std::to_string(step.code));
  add(begins || step.what == What::OtherStarts, "result " + std::to_string(step.result));
  if (begins) text += name_of(step.manner);
  add(!has_calls(step.what) && step.what != What::OtherStarts, std::to_string(step.amount));
  if (step.meanwhile)
    text += ", at call " + std::to_string(step.at) + ": " + text_of(*step.meanwhile);
  return text;
}

std::string text_of(const Life& life) {
  std::string text;
  for (std::size_t drive = 0; drive < life.drives.size(); ++drive)
    text += "drive " + std::to_string(drive) + ": " + text_of(life.drives[drive]) + "\n";
  for (std::size_t step = 0; step < life.steps.size(); ++step)
    text += std::to_string(step + 1) + ". " + text_of(life.steps[step]) + "\n";
  return text;
}

}  // namespace random_lives
