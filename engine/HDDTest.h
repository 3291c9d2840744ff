// The self-test engine: runs a drive's SMART short self-test with smartctl and keeps what the
// providers report of it later.
//
// There is one engine, created by the first GetInstance and kept until the process ends. Its
// records grow with every run; results and the job are those of the latest.
//
// The store (results, records, job) may be used from any thread: each access takes the store
// lock. SelfTest and its steps share fToolArgs and may run only one at a time; the caller of
// SelfTest sees to that. Every operation writes its entry and exit into the core log.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The outcome of one self-test run. 2 is never produced.
enum HDDIAG_TEST_STATUS : std::int32_t {
  HDDIAG_TEST_PASSED = 0,       // the newest self-test completed without error
  HDDIAG_TEST_FAILED = 1,       // it failed, a step of the run failed, or it did not end in time
  HDDIAG_TEST_IN_PROGRESS = 3,  // the newest log entry still says that the test is running
  HDDIAG_TEST_ABORTED = 4,      // aborted or interrupted, or the drive keeps no self-test log
};

// One finished run, as the completion record provider builds it and reads it back. The state
// has no value until its creator sets it.
struct TDiagRecord {
  std::string fJobID{};       // the InstanceID of the run's job
  std::string fRecordData{};  // the text composed from the message file
  std::string fServiceName{};
  std::string fDeviceID{};            // as passed to SelfTest
  std::int32_t fCompletionState = 0;  // 2 passed, 5 failed, 6 aborted
};

// The job of one run. The integers have no value until its creator sets them.
struct TConcreteJob {
  std::string fInstanceID;
  std::int32_t fJobState;
  std::int32_t fReserved;
};

class THDDTest {
 public:
  // The one instance; never null, never the caller's.
  static THDDTest* GetInstance();

  // Destroys the instance, if there is one. Kept on purpose: fgInstance still points to where
  // it was, so nothing may use the engine afterwards. Nothing in the module calls it.
  static void DeleteInstance();

  THDDTest();
  ~THDDTest();
  THDDTest(const THDDTest&) = delete;
  THDDTest& operator=(const THDDTest&) = delete;

  // The store. Results come as copies; what is added is copied and stays the caller's.
  void ResetResults();
  std::vector<int> GetResults();
  void AddRecord(TDiagRecord* record);
  std::vector<TDiagRecord> GetRecord();
  // Calls the visitor with each record that GetRecord would return, and logs the same lines. Copies
  // one record at a time, so that a long list never takes its memory twice. The store is not locked
  // during a call.
  void visit_records(const std::function<void(TDiagRecord record)>& visitor);
  void AddConcreteJob(TConcreteJob* job);  // replaces the job before
  std::vector<TConcreteJob> GetConcreteJob();

  // Tests the drive of that device name and appends one status to the results. Blocks for up to
  // ten minutes of waiting, and while smartctl runs. Throws std::out_of_range when the log
  // changed to one without entries; nothing is appended then.
  void SelfTest(std::string& deviceID);

  // Runs of smartctl for one drive, each of at most 20 seconds. They replace the output by the
  // program's and return its exit status; a step failed when one of its four lowest bits is set.
  int CheckSmartStatus(const std::string& deviceID, std::string& output, bool& enabled);
  // Kept on purpose: SelfTest does not call it; a drive with SMART off is reported as failed.
  int EnableSmart(const std::string& deviceID, std::string& output);
  int TriggerSelfTest(const std::string& deviceID, std::string& output);
  int RetrieveRecordedLog(const std::string& deviceID, std::string& output);

  // Reading of a log that "smartctl -l selftest" printed; see self_test_log.h.
  // The status of the newest entry; unchanged when the text has no self-test log. Throws
  // std::out_of_range when the log has no entry.
  void GetLatestSelfTestStatus(const std::string& text, HDDIAG_TEST_STATUS& status);
  // Kept on purpose: the spelling, which readers of the log meet in this operation's lines.
  int CountLogNumer(const std::string& text);
  // Kept on purpose: does not end on two adjacent "#".
  void SplitLogEntry(const std::string& text, std::vector<std::string>& entries);
  bool IsEntryFullAndSame(const std::string& text);

  std::vector<std::int32_t> fResults;  // one per SelfTest since the last ResetResults
  std::vector<TConcreteJob> fJobs;     // the latest only
  std::vector<TDiagRecord> fRecords;   // oldest first
  std::string fToolPath;               // the program that every drive command runs
  std::vector<std::string> fToolArgs;  // the arguments of the latest drive command

  static THDDTest* fgInstance;
};
