// Drives that tests of the library play, with a clock that stands until it is moved.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "drivetest/drive_access.h"
#include "drivetest/outcome.h"

namespace drivetest {

class FakeTime : public TimeSource {
 public:
  std::chrono::sys_seconds now() override {
    return std::chrono::time_point_cast<std::chrono::seconds>(now_);
  }
  void wait(std::chrono::milliseconds duration) override { now_ += duration; }

 private:
  std::chrono::sys_time<std::chrono::milliseconds> now_{std::chrono::seconds(1'700'000'000)};
};

// One drive at one place. What it does is set by the members; what happens to it by the functions.
class FakeDrive : public DriveAccess {
 public:
  explicit FakeDrive(FakeTime& time, Protocol protocol = Protocol::Ata) : time_(time) {
    drive_.place.device = "/dev/sda";
    drive_.protocol = protocol;
    drive_.model = "Example Disk 1";
    drive_.serial_number = "S1";
    drive_.world_wide_name = "wwn-0x5000000000000001";
  }

  bool writes_entries = true;
  std::optional<std::uint64_t> power_cycles = 20U;
  bool obeys_stop = true;
  bool says_running_for_ever = false;  // ATA: from the last tenth of a test on
  std::chrono::seconds delay{};        // until a test that was started shows
  int result_code = 0;                 // of tests that run to their end
  std::optional<ToolReply> refusal;    // instead of starting
  LookFault fault = LookFault::None;
  std::size_t most_rows = 21;
  std::function<void()> before_start;   // what others do meanwhile
  std::function<void()> after_command;  // once, after a start or a stop
  int looks = 0;
  int mend_after = -1;  // looks, after which the fault is no more
  bool rests = false;   // until it is woken
  int woken = 0;
  bool shows_log = true;
  bool stands_still = false;          // a test that runs makes no progress
  std::function<void()> during_look;  // once, between the state of the test and the log

  Look look(const Place& place, bool wake) override {
    ++looks;
    if (fault != LookFault::None && mend_after-- == 0) fault = LookFault::None;
    if (rests && wake) {
      rests = false;
      ++woken;
    }
    if (test_ && stands_still) test_->begin = time_.now();
    bring_up_to_date();
    Look look;
    look.drive = drive_;
    look.drive.place = place;
    look.fault = rests ? LookFault::Standby : fault;
    if (look.fault != LookFault::None) {
      look.reason = "the drive does not answer";
      return look;
    }
    for (Ability& ability : look.abilities) ability = {true, 2U};
    look.has_log = shows_log;
    if (shows_log) look.log = log_;
    look.power_on_hours = hours();
    look.power_cycles = power_cycles;
    if (shows_test()) {
      const auto done = (time_.now() - test_->begin) * 100 / kDuration;
      const unsigned left = 100 - static_cast<unsigned>(done);
      look.running = RunningTest{std::nullopt, left / 10 * 10};
      if (drive_.protocol != Protocol::Ata) look.running = RunningTest{test_->kind, left};
    }
    const bool is_at_end = !look.running || look.running->remaining_percent < 10U;
    if (says_running_for_ever && is_at_end) look.running = RunningTest{std::nullopt, 0U, true};
    if (drive_.protocol == Protocol::Ata) look.status_code = look.running ? kRunningCode : status_;
    if (const auto meanwhile = std::exchange(during_look, nullptr)) {
      meanwhile();
      look.log = log_;
    }
    return look;
  }

  ToolReply start(const Drive&, TestKind kind) override {
    if (before_start) before_start();
    if (refusal) return *refusal;
    if (says_running_for_ever) return {ToolAnswer::Busy, "another test runs"};
    begin(kind);
    if (const auto meanwhile = std::exchange(after_command, nullptr)) meanwhile();
    return {ToolAnswer::Accepted, ""};
  }

  ToolReply start_in_doubt(const Drive&, TestKind kind) override {
    begin(kind);
    return {ToolAnswer::Accepted, ""};
  }

  ToolReply stop(const Drive&) override {
    if (obeys_stop) end(1);
    if (const auto meanwhile = std::exchange(after_command, nullptr)) meanwhile();
    return {ToolAnswer::Accepted, ""};
  }

  void begin(TestKind kind) {
    bring_up_to_date();
    if (test_) end(1);
    test_ = Test{kind, time_.now() + delay};
  }

  // Another drive is in its place from now on.
  void rename(const std::string& name) { drive_.world_wide_name = name; }

  // Another drive claims to be it from now on.
  void share_identity() { drive_.shares_identity = true; }

  // The test ends now with that code.
  void end(int code) {
    bring_up_to_date();
    if (test_) finish(code);
  }

  static constexpr std::chrono::seconds kDuration = std::chrono::minutes(2);

 private:
  struct Test {
    TestKind kind;
    std::chrono::sys_seconds begin;
  };

  std::uint64_t hours() const {
    return static_cast<std::uint64_t>(time_.now().time_since_epoch() / std::chrono::hours(1));
  }
  bool shows_test() const { return test_ && time_.now() >= test_->begin; }

  void bring_up_to_date() {
    if (test_ && time_.now() >= test_->begin + kDuration) finish(result_code);
  }

  void finish(int code) {
    status_ = code;
    if (writes_entries) {
      LogEntry entry;
      entry.test_code = static_cast<int>(test_->kind) + 1;
      entry.kind = test_->kind;
      entry.result_code = code;
      entry.hours = drive_.protocol == Protocol::Nvme ? hours() : hours() % 65536;
      log_.insert(log_.begin(), entry);
      if (log_.size() > most_rows) log_.pop_back();
    }
    test_.reset();
  }

  FakeTime& time_;
  Drive drive_;
  std::optional<Test> test_;
  std::vector<LogEntry> log_;
  int status_ = 0;
};

}  // namespace drivetest
