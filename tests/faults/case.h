// A case: something goes wrong during one operation, and everything that is to be seen of it. The
// tables of all cases are in run_cases.cpp and discovery_cases.cpp.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/support/sigchld.h"
#include "tests/faults/world.h"

namespace faults {

struct Case {
  // What goes wrong, as a row of docs/faults.md has it.
  const char* row;
  const char* name;
  void (*arrange)(World&);
  // What World::run or World::offered answers.
  const char* seen;
  // A line of the log, as World::logged takes it; null: the log gets no line.
  const char* log;
  enum Needs { Nothing, Root, OtherUser, OrdinaryBuild } needs = Nothing;
  // The beginning of the record's text, RecordData; null: the usual one of that outcome.
  const char* text = nullptr;
  void (*expect)(World&) = nullptr;  // what else has to hold after the operation
};

const std::vector<Case>& run_cases();        // one test is run
const std::vector<Case>& discovery_cases();  // the testable drives are listed
// What the process that loads the module may do without harm: for both tables.
std::vector<Case> host_cases(const char* seen, const char* log);

// The operations in which each single call is made to fail.
struct FailingOperation {
  const char* name;
  std::string (World::*perform)();
  // What may be seen, whatever fails. The drive of a run fails its test, so that "passed" would be
  // a lie. A drive behind a RAID adapter must not be offered because something is unknown.
  std::set<std::string> may_be_seen;
  // One of these two lines is in the log unless no provider was reached; null: there is none.
  const char *first_log, *last_log;
  int in_one_process;  // one after the other; every discovery remembers more bus devices
};
const std::vector<FailingOperation>& operations();

// Rows of docs/faults.md with cases in more than one file.
constexpr char kSingleFailures[] =
    "memory runs out, or a fork, pipe, open or write, or a function of the object manager fails";
constexpr char kFullLog[] = "the disk of the log is full, or a file size limit reached";
constexpr char kNothingWrong[] =
    "the clock jumps, the log is at its limit, zeros follow the messages in their file, smartctl "
    "or hwinfo is slow or leaves a program "
    "behind, sysfs is read-only, or the host ignores or reaps children, blocks signals, gives "
    "small stacks, has another locale, closed its standard streams or, when drives are listed, "
    "has another working directory";
constexpr char kNoProcess[] = "the host may start no process";
constexpr char kNoDescriptor[] = "the host has no descriptor left";

// For arrangements.
constexpr unsigned kNobody = 65534;

constexpr std::int64_t kTenYears = 315360000;  // seconds
template <std::int64_t seconds>
void expect_clock_off_by(World& world) {
  world.expect_clock_off_by(seconds);
}

// Gives the case's folder to that user and makes this process his; does nothing without root's
// rights.
void become_nobody(World& world);

}  // namespace faults
