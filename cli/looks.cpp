#include "cli/looks.h"

#include <algorithm>

#include "cli/output.h"
#include "cli/terminal_text.h"
#include "cli/waiting_line.h"

namespace cli {

namespace {

// On a terminal a drive that takes longer than others holds their lines back for so long.
constexpr std::chrono::milliseconds kForOrder(500);

}  // namespace

Looks::Looks(DriveTests& tests, std::vector<ChosenDrive>& drives, bool wake)
    : drives_(drives), answers_(drives.size()) {
  for (std::size_t i = 0; i < drives.size(); ++i) left_.insert(i);
  thread_ = std::jthread([this, &tests, wake] {
    at_once(drives_.size(), [&](std::size_t i) {
      Answer answer;
      try {
        answer.status = tests.keeper().settle(tests.look_of(drives_[i], wake), wake);
      } catch (...) {
        answer.thrown = std::current_exception();
      }
      keep(i, std::move(answer));
    });
  });
}

std::pair<std::size_t, drivetest::DriveStatus> Looks::next() {
  const std::size_t drive = next_drive();
  left_.erase(drive);
  if (answers_[drive].thrown) std::rethrow_exception(answers_[drive].thrown);
  return {drive, std::move(answers_[drive].status)};
}

void Looks::keep(std::size_t drive, Answer answer) {
  answer.is_there = true;
  answer.came = Clock::now();
  const std::lock_guard guard(lock_);
  answers_[drive] = std::move(answer);
  has_come_.notify_all();
}

std::size_t Looks::next_drive() {
  const std::size_t first = *left_.begin();
  const bool is_watched = standard_output().is_terminal();
  const WaitingLine line(standard_error(), "waiting for " + escape(drives_[first].shown_name()),
                         is_watched);
  const auto is_there = [this](std::size_t drive) { return answers_[drive].is_there; };
  const auto first_there = [&] { return std::find_if(left_.begin(), left_.end(), is_there); };
  std::unique_lock guard(lock_);
  if (!is_watched) {
    has_come_.wait(guard, [&] { return is_there(first); });
    return first;
  }
  has_come_.wait(guard, [&] { return first_there() != left_.end(); });
  const Clock::time_point latest = answers_[*first_there()].came + kForOrder;
  has_come_.wait_until(guard, latest, [&] { return is_there(first); });
  return *first_there();
}

}  // namespace cli
