// The machine of a case: the shipped module and inventory behind the embedded object manager, in a
// folder of its own, with stand-ins for smartctl and hwinfo first and alone on PATH, a made-up
// sysfs, message file and log. Its drives are /dev/sda, on AHCI, and /dev/sdb, behind a RAID
// adapter.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "broker/object_manager.h"
#include "inventory/test_tree.h"
#include "tests/faults/injection.h"

namespace faults {

constexpr char kScratchFile[] = "/tmp/sgMap.txt";

constexpr char kRecordClass[] = "KAVRO_HDDTest_DiagnosticCompletionRecord";

class World {
 public:
  World();
  ~World();
  World(const World&) = delete;

  std::filesystem::path place(const std::string& path) const { return tree.place(path); }
  // Replace the stand-ins. script: the text behind "#!/bin/sh", with the arguments in $1 and so on.
  void smartctl(const std::string& script) const { program("smartctl", script); }
  void hwinfo(const std::string& script) const { program("hwinfo", script); }
  void remove_program(const std::string& name) const;

  // In the next operation the number-th call of that kind fails (injection.h); 0: none does.
  void fail(Call kind, int number);
  // In the next operation a soft resource limit is that.
  void limit(int resource, std::uint64_t value) { limits_.push_back({resource, value}); }
  // The next operation is asked for on a thread with the smallest stack that object managers give.
  void take_small_stack() { on_small_stack_ = true; }
  int calls() const { return calls_; }  // of that kind in the last operation
  // In the next operation that function of the object manager always fails.
  void refuse(const std::string& function) { refused_ = function; }
  const std::vector<const char*>& broker_functions() const { return broker_functions_; }

  // Makes stand-ins, message file, log, drives and injections what they were at first.
  void mend();

  // Runs a test of /dev/sda and tells what its client sees: the outcome in its record (passed,
  // failed, aborted), "no record", "no job", or how the call failed: "CIM error 1" with the status,
  // or "out of memory" where the object manager let that out.
  std::string run();
  // The drives that are offered, with blanks between, "none", or how the listing failed.
  std::string offered();
  // All drives, in the same form.
  std::string drives();
  std::vector<std::string> records() const;  // their jobs
  std::string listed_records();              // the same as one text

  std::string text_of_last_record() const;

  // What the last operation has added to the log, and whether a line is in it: the severity, a
  // blank, and the beginning of its text.
  std::string log() const;
  bool logged(const std::string& line) const;
  // Expects that the last line of the log is off by so many seconds, which make another year.
  void expect_clock_off_by(std::int64_t seconds) const;

  // What a case could leave behind: children, descriptors, files, signal mask and dispositions,
  // working directory, umask. Waits for what is about to end. The machine has only one scratch
  // file, so only a holder of its lock can tell whose it is.
  std::set<std::string> traces() const;
  void expect_log_unlocked() const;
  // Expects that nothing that was left behind keeps a run from ending well, nor a discovery for a
  // holder of the scratch file where nobody else's is in its place, and that they lose none of
  // these records.
  void expect_well(const std::vector<std::string>& earlier_records);

  inventory::TestTree tree;
  bool holds_scratch_file = false;

 private:
  void program(const std::string& name, const std::string& script) const;
  void lay_out_drives() const;
  std::string names_of(const std::string& class_name, const std::string& property);
  // Performs a request with the faults that were asked for; how it failed, or nothing.
  std::string ask(const std::function<void()>& request);
  std::uintmax_t log_size() const;

  std::unique_ptr<broker::ObjectManager> manager_;
  std::vector<const char*> broker_functions_;
  std::uintmax_t log_begin_ = 0, log_end_ = 0;
  std::optional<Call> failing_;
  int failing_number_ = 0;
  std::string refused_;
  std::vector<std::pair<int, std::uint64_t>> limits_;
  bool on_small_stack_ = false;
  int calls_ = 0;
};

// Runs the work in a child of this process, in a process group of its own. Expects that none of its
// expectations fails, that it ends by itself within the time, and that it leaves no process behind.
// The module reads once in a process where its log is, so that every world needs a process of its
// own.
void in_child(const std::function<void()>& work, int seconds = 180);

}  // namespace faults
