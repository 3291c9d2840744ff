// How the keeper goes on with a history that cannot be read or written.
#include <utility>

#include "drivetest/change_by_look.h"
#include "drivetest/keeper.h"

namespace drivetest {

void Keeper::note_fault(const HistoryError& error) {
  if (history_fault_.empty()) history_fault_ = error.what();
  // Each further drive would wait as long.
  if (error.fault() == HistoryFault::Busy) history_ = nullptr;
}

void Keeper::open_history() {
  const std::lock_guard guard(lock_);
  try {
    opened_history();
  } catch (const HistoryError& error) {
    note_fault(error);
  }
}

History* Keeper::opened_history() {
  if (const OpenHistory open = std::exchange(open_, nullptr)) history_ = open();
  return history_;
}

std::optional<TestRow> Keeper::known_running(const Drive& drive) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  const auto remembered = remembered_.find(identity);
  if (remembered != remembered_.end()) return remembered->second.running;
  try {
    if (history_)
      if (const auto kept = history_->running(identity)) return kept->row;
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

// What the drive shows goes through the history, so that several processes at once see one truth.
// Where that cannot be written the keeper goes on with what it remembers itself.
std::optional<TestRow> Keeper::change(const Drive& drive,
                                      const std::function<DriveChange(const DriveState&)>& decide) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  const auto remembered = remembered_.find(identity);
  std::optional<DriveState> after;
  const auto decide_on = [&](const DriveState& before) {
    DriveChange change = decide(before);
    after = before;
    apply(*after, change);
    return change;
  };
  if (remembered == remembered_.end()) {
    try {
      if (History* const history = opened_history()) {
        std::optional<TestRow> running;  // believed only when all was written
        history->together([&] {
          const DriveState before = history->state(identity);
          history->change(drive, before, decide_on(before));
          running.reset();
          if (after->running) running = history->running(identity).value().row;
        });
        return running;
      }
    } catch (const HistoryError& error) {
      note_fault(error);
    }
  }
  if (!after) decide_on(remembered == remembered_.end() ? DriveState() : remembered->second);
  after->changed = 0;  // nobody else knows of it
  remembered_[identity] = *after;
  return after->running;
}

std::optional<std::int64_t> Keeper::changes() {
  const std::lock_guard guard(lock_);
  try {
    if (history_) return history_->changes();
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

bool Keeper::withdraw(const TestRow& row) {
  const std::lock_guard guard(lock_);
  if (const auto remembered = remembered_.find(row.drive); remembered != remembered_.end())
    remembered->second.running.reset();
  if (!history_ || row.number == 0) return true;
  try {
    return history_->withdraw(row.number);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return true;
}

std::optional<TestRow> Keeper::kept(std::int64_t number) {
  const std::lock_guard guard(lock_);
  if (!history_ || number == 0) return std::nullopt;
  try {
    if (std::optional<KeptTest> test = history_->find(number)) return std::move(test->row);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return std::nullopt;
}

bool Keeper::with_history(const std::function<void(History&)>& work) {
  const std::lock_guard guard(lock_);
  History* const history = opened_history();
  if (history) work(*history);
  return history != nullptr;
}

std::string Keeper::history_fault() const {
  const std::lock_guard guard(lock_);
  return history_fault_;
}

}  // namespace drivetest
