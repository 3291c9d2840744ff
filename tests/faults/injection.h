// Faults in what the product asks of the system: this program has functions of its own in front of
// the C library's, which the product's libraries call. Everything here is for one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace faults {

// What can be made to fail, and as what: fork (posix_spawn with it) as EAGAIN, pipe and
// open (directories and streams with it) as EMFILE, write and sendto as ENOSPC, allocation as
// std::bad_alloc, or null where the XML parser asks; broker are the object manager's functions
// that providers call (broker_calls.h).
enum class Call { Fork, Pipe, Open, Write, Allocation, Broker };

// From now on calls of that kind are counted and the number-th from here fails; 0: none does.
void arm(Call kind, int number);
// Ends the counting and returns the number of calls since.
int disarm();
// For a function that can fail: counts a call, and says whether it has to.
bool has_to_fail(Call kind);

// What else the functions do to the operation.
struct Settings {
  // Makes time limits end that many times sooner: the steady clock runs faster, and so do poll and
  // the helper of the process runner.
  int hurry = 1;
  std::int64_t clock_jump = 0;  // seconds that the wall clock is off
  // How often the logger has been made to look at its file, by a second of its clock each time.
  std::int64_t log_looks = 0;
  std::string hidden;   // no file whose path ends so exists, to stat
  std::string journal;  // a file that takes what is sent to the machine's journal
  std::string refused;  // a function of the object manager that always fails
  std::function<void()> on_sleep;
  std::function<void()> on_open;  // before each open of the next operation
};
Settings& settings();

}  // namespace faults
