#include "drivetest/keeper.h"

#include <utility>

#include "drivetest/change_by_look.h"

namespace drivetest {

namespace {

constexpr std::chrono::milliseconds kBeforeSecondLook = std::chrono::seconds(2);

// That another drive claims to be the same is found by comparing the looks at all drives. The first
// look at a drive may have been compared so, and the later one not.
void share_as_before(Drive& later, const Drive& before) {
  if (before.shares_identity && later.claimed_identity() == before.claimed_identity())
    later.shares_identity = true;
}

}  // namespace

SeenLook Keeper::see(const Place& place, bool wake) {
  SeenLook seen;
  seen.changes = changes();
  seen.look = access_.look(place, wake);
  return seen;
}

// Another process may have looked later and been quicker. Its news must not be undone: where others
// are quicker each time, what they have kept counts, and this look is dropped. Where the drive does
// not answer the second time nothing rests on the first look either.
Keeper::Settled Keeper::settle_by(SeenLook& seen, bool wake, Circumstances circumstances) {
  Settled settled;
  constexpr int kMostLooks = 5;
  for (int looks = 1;; ++looks) {
    bool is_old = false;
    settled.running = change(seen.look.drive, [&](const DriveState& state) {
      settled.ended.clear();
      is_old = state.changed > seen.changes.value_or(0);
      if (is_old) return DriveChange();
      ChangeByLook found = change_by_look(state, seen.look, time_.now(), circumstances);
      settled.look_again = found.look_again;
      if (found.change.running && found.change.running->outcome)
        settled.ended.push_back(*found.change.running);
      return found.change;
    });
    if (!is_old || looks == kMostLooks) return settled;
    SeenLook later = see(seen.look.drive.place, wake);
    if (later.look.fault == LookFault::None) share_as_before(later.look.drive, seen.look.drive);
    seen = std::move(later);
    if (seen.look.fault != LookFault::None) return settled;
  }
}

DriveStatus Keeper::settle_by_looks(SeenLook seen, bool wake, Circumstances circumstances) {
  DriveStatus status;
  if (seen.look.fault == LookFault::None) {
    Settled settled = settle_by(seen, wake, circumstances);
    constexpr int kMostLooks = 3;
    for (int looks = 1; settled.look_again && looks < kMostLooks; ++looks) {
      time_.wait(kBeforeSecondLook);
      SeenLook next = see(seen.look.drive.place, wake);
      if (next.look.fault != LookFault::None) break;
      share_as_before(next.look.drive, seen.look.drive);
      seen = std::move(next);
      circumstances.is_second_look = true;
      std::vector<TestRow> ended = std::move(settled.ended);
      settled = settle_by(seen, wake, circumstances);
      settled.ended.insert(settled.ended.begin(), ended.begin(), ended.end());
    }
    status.running = std::move(settled.running);
    status.ended = std::move(settled.ended);
    status.is_stalled = seen.look.fault == LookFault::None && status.running &&
                        is_stalled(*status.running, seen.look.abilities, time_.now());
  } else {
    status.running = known_running(seen.look.drive);
  }
  status.look = std::move(seen.look);
  return status;
}

DriveStatus Keeper::look(const Place& place, bool wake) { return settle(see(place, wake), wake); }

DriveStatus Keeper::settle(SeenLook seen, bool wake) {
  return settle_by_looks(std::move(seen), wake, {});
}

std::optional<TestRow> Keeper::begin_foreign(const Place& place, TestKind kind, Source source) {
  return begin_foreign(look(place, true), kind, source);
}

std::optional<TestRow> Keeper::begin_foreign(const DriveStatus& status, TestKind kind,
                                             Source source) {
  if (status.look.fault != LookFault::None || status.is_testing()) return std::nullopt;
  BegunTest begun = begin(status.look, kind, source);
  if (begun.runs_already || !begun.row) return std::nullopt;
  platform::Descriptor starting = mark_starting(*begun.row);
  const std::lock_guard guard(lock_);
  starting_[begun.row->number] = std::move(starting);
  return std::move(begun.row);
}

std::optional<TestRow> Keeper::end_foreign(const TestRow& row, bool was_seen) {
  platform::Descriptor starting;  // until its end is kept
  {
    const std::lock_guard guard(lock_);
    if (auto mark = starting_.extract(row.number)) starting = std::move(mark.mapped());
  }
  const DriveStatus status =
      settle_by_looks(see(row.place, true), true, {.is_over = true, .was_seen = was_seen});
  // Another process may have seen its end, and the next test may run.
  if (std::optional<TestRow> now = kept(row.number); now && now->outcome) return now;
  if (!status.ended.empty()) return status.ended.front();
  if (status.is_testing()) return status.running;
  // What became of it is told by a later look.
  if (was_seen || status.look.fault != LookFault::None) return row;
  if (withdraw(row)) return std::nullopt;
  return row;
}

}  // namespace drivetest
