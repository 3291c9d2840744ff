// What a report tells of one drive, gathered from its tests one at a time. It holds little more
// than the page shows, however many tests there are.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/test_row.h"

namespace cli {

// A test on the line of tests.
struct TestMark {
  drivetest::Time time;
  std::optional<drivetest::TestKind> kind;
  drivetest::Outcome outcome = drivetest::Outcome::Unknown;
};

// How a drive of this machine was found now.
struct FoundNow {
  bool is_here = false;  // else the history alone knows it
  bool is_stalled = false;
  std::optional<bool> is_testable;  // not set: it rests, and nobody knows
  std::string inability;            // why no test can be started in it
  std::string fault;                // why it could not be looked at
  bool rests = false;
  bool is_known_by_place = false;  // not here; present drives claim its identity
  bool are_tests_known = true;     // false: no history could be read
};

class ReportedDrive {
 public:
  // Tests that are shown in words; the others are only counted and drawn.
  static constexpr std::size_t kMostListed = 12;
  // The oldest are left out of the line beyond that: more than ten years of weekly tests.
  static constexpr std::size_t kMostMarks = 600;

  // The tests of a drive in the order in which the history got them.
  void add(const drivetest::KeptTest& test);

  drivetest::Drive drive;         // as the newest test has it
  std::string machine;            // its name, on a page of many
  std::string advice;             // what to do about a failed one; not escaped
  std::optional<FoundNow> found;  // only known of drives of this machine

  // Of tests that have ended, by outcome.
  std::array<std::size_t, 4> counts{};
  std::size_t undated = 0;  // nobody saw when they were
  std::size_t total() const;

  // Those with a date, the oldest first.
  const std::deque<TestMark>& marks() const { return marks_; }
  // The newest that have ended, the oldest first.
  const std::deque<drivetest::TestRow>& listed() const { return listed_; }
  const drivetest::TestRow* last() const { return listed_.empty() ? nullptr : &listed_.back(); }

  // The newest failed test that no later one has answered.
  const drivetest::TestRow* failed() const;

  std::optional<drivetest::TestRow> running;
  // When the last test of the kind passed, if somebody saw it.
  std::optional<drivetest::Time> passed(drivetest::TestKind kind) const {
    return passed_[static_cast<std::size_t>(kind)];
  }
  // When a test of the kind was tried, whatever came of it, if somebody saw it.
  struct Tried {
    drivetest::Time first;
    drivetest::Time last;
  };
  std::optional<Tried> tried(drivetest::TestKind kind) const {
    return tried_[static_cast<std::size_t>(kind)];
  }
  drivetest::Time heard{};  // the last time that the history tells anything of it

 private:
  void add_ended(const drivetest::TestRow& row);

  std::deque<TestMark> marks_;
  std::deque<drivetest::TestRow> listed_;
  std::array<std::optional<drivetest::Time>, drivetest::kTestKinds.size() + 1> passed_;
  std::array<std::optional<Tried>, drivetest::kTestKinds.size() + 1> tried_;
  std::array<std::optional<drivetest::TestRow>, drivetest::kTestKinds.size() + 1> failed_;
};

// When a test was, where somebody saw it.
std::optional<drivetest::Time> date_of(const drivetest::TestRow& row);

}  // namespace cli
