// How the keeper goes on with a history that cannot be read or written.
#include <utility>

#include "drivetest/change_by_look.h"
#include "drivetest/keeper.h"

namespace drivetest {

void Keeper::note_fault(const HistoryError& error) {
  if (history_fault_.empty()) history_fault_ = error.what();
  if (error.fault() != HistoryFault::Busy) return;
  // Each further drive would wait as long. Who waits to write may read all the same, as a rule.
  if (std::exchange(is_busy_, true)) history_ = nullptr;
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
  had_history_ = had_history_ || history_;
  return history_;
}

// What the history has failed to keep of the drive; nullptr: nothing, and the history is asked.
const DriveState* Keeper::unkept(const std::string& identity) const {
  const auto found = remembered_.find(identity);
  return found == remembered_.end() || found->second.is_kept ? nullptr : &found->second.state;
}

std::optional<TestRow> Keeper::known_running(const Drive& drive) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  if (const DriveState* const state = unkept(identity)) return state->running;
  try {
    if (history_) {
      const std::optional<KeptTest> kept = history_->running(identity);
      return kept ? std::optional(kept->row) : std::nullopt;
    }
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  const auto remembered = remembered_.find(identity);
  return remembered == remembered_.end() ? std::nullopt : remembered->second.state.running;
}

// What the drive shows goes through the history, so that several processes at once see one truth.
// Where that cannot be read or written the keeper goes on with what it remembers itself.
std::optional<TestRow> Keeper::change(const Drive& drive,
                                      const std::function<DriveChange(const DriveState&)>& decide) {
  const std::string identity = drive.identity();
  const std::lock_guard guard(lock_);
  std::optional<DriveState> after;
  const auto decide_on = [&](const DriveState& before) {
    DriveChange change = decide(before);
    after = before;
    apply(*after, change);
    return change;
  };
  if (!unkept(identity)) {
    try {
      if (History* const history = opened_history(); history && !is_busy_) {
        std::optional<TestRow> running;  // believed only when all was written
        history->together([&] {
          history->recognise(drive);
          const DriveState before = history->state(identity);
          history->change(drive, before, decide_on(before));
          running.reset();
          if (after->running) running = history->running(identity).value().row;
        });
        after->running = running;
        remembered_[identity] = {*std::move(after), true};
        return running;
      }
    } catch (const HistoryError& error) {
      note_fault(error);
    }
  }
  // What another process has changed meanwhile is not seen, and the history has it all the same.
  if (!after) decide_on(last_known(identity));
  after->changed = 0;  // nobody else knows of it
  after->is_starting = false;
  const Remembered& now = remembered_[identity] = {*std::move(after), false};
  return now.state.running;
}

DriveState Keeper::last_known(const std::string& identity) {
  if (const auto found = remembered_.find(identity); found != remembered_.end()) {
    DriveState state = found->second.state;
    state.changed = 0;  // nobody else knows of what follows, so no look is too old
    state.is_starting = false;
    return state;
  }
  try {
    if (history_) return history_->state(identity);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  return {};
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

platform::Descriptor Keeper::mark_starting(const TestRow& row) {
  const std::lock_guard guard(lock_);
  return history_ && row.number != 0 ? history_->mark_starting(row) : platform::Descriptor();
}

bool Keeper::withdraw(const TestRow& row, bool was_refused) {
  const std::lock_guard guard(lock_);
  try {
    const bool can_write = history_ && !is_busy_ && row.number != 0;
    if (can_write && !history_->withdraw(row.number, was_refused)) return false;
  } catch (const HistoryError& error) {
    note_fault(error);
  }
  if (const auto remembered = remembered_.find(row.drive); remembered != remembered_.end())
    remembered->second.state.running.reset();
  return true;
}

void Keeper::explain(const TestRow& row) {
  const std::lock_guard guard(lock_);
  try {
    if (history_ && !is_busy_) history_->explain(row);
  } catch (const HistoryError& error) {
    note_fault(error);
  }
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

bool Keeper::had_history() const {
  const std::lock_guard guard(lock_);
  return had_history_;
}

}  // namespace drivetest
