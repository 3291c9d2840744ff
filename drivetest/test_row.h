// A test of a drive as the history keeps it: begun here, or found in the drive's own log.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "drivetest/drive.h"
#include "drivetest/outcome.h"

namespace drivetest {

using Time = std::chrono::sys_seconds;  // UTC

// Who began the test.
enum class Source {
  Library,  // hddtest, through this library
  Module,   // hddtest or an object manager, through the module
  Other,    // somebody else, as far as the drive's log tells
};

// "hddtest", "module", "other".
std::string_view name_of(Source source);
std::optional<Source> source_named(std::string_view name);

// A row: everything that is known of one test of one drive. It is running as long as it has no
// outcome.
struct TestRow {
  std::int64_t number = 0;  // the history's own, 0 before it is kept; grows with each row
  std::string id;           // 32 hexadecimal digits, the same in each history that has the test
  std::string drive;        // Drive::identity()
  std::string machine_id;   // of /etc/machine-id, lower case
  std::string host_name;
  Place place;  // at the time of the test

  Source source = Source::Library;
  std::optional<TestKind> kind;  // not set: a test by others that we cannot start
  int test_code = 0;             // the drive's own; 0 where it is not known

  // When the history got the row; never before that of the drive's row before, also where the clock
  // went back. Rows of a drive are in this order.
  Time recorded{};
  // Nobody was there when a test of others began or ended: then these are not set, and `hours` of
  // the log tells when it was.
  std::optional<Time> started;
  std::optional<Time> ended;                  // when it was seen to have ended
  std::optional<Time> looked;                 // the last look that showed it running
  std::optional<unsigned> remaining_percent;  // at that look
  std::optional<Time> progressed;             // the first look that showed that percentage

  std::optional<Outcome> outcome;
  std::string cause;  // in words
  std::optional<int> result_code;
  std::optional<std::uint64_t> first_bad_block;
  std::optional<unsigned> segment;
  std::optional<std::uint64_t> hours;  // power-on hours that the log's entry has
  std::optional<std::uint64_t> hours_at_start;
  std::optional<std::uint64_t> power_cycles_at_start;

  // Not set where one of the times is not known or the clock went back between them.
  std::optional<std::chrono::seconds> duration() const;

  // Whether a drive that failed a test of the kind earlier has shown by this one that it can pass
  // it: it passed, and is of the same kind, or a long test, which reads the whole drive and so does
  // what a short one does, and what selective, off-line and captive ones do. These, of which the
  // kind is not set, show nothing: two of them may have tested different things.
  bool answers_failure(std::optional<TestKind> failed) const;

  bool operator==(const TestRow&) const = default;
};

// A row of the history with the drive that it is about, which is where it was at the time of the
// test.
struct KeptTest {
  Drive drive;
  TestRow row;
};

// What in the test contradicts itself, in words with the names of its members in JSON; empty:
// nothing does. A running test has no result, and the outcome is what the drive's code means. The
// history makes no other rows.
std::string contradiction_in(const KeptTest& test);

// A drive that the history knows, tested or not. Where it was belongs to its tests.
struct KnownDrive {
  std::string identity;  // Drive::identity()
  Drive drive;
  std::optional<Time> looked;  // when its log was last read; drives without one have none
};

}  // namespace drivetest
