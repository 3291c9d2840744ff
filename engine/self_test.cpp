// The engine's runs of smartctl and the self-test made of them.
#include <unistd.h>

#include <utility>

#include "engine/HDDTest.h"
#include "engine/locks.h"
#include "engine/smartctl_answer.h"
#include "engine/trace.h"
#include "platform/support/osspecific.h"

using engine::log_error;
using engine::trace;

namespace {

constexpr int kToolSeconds = 20;
constexpr int kReads = 121;
constexpr unsigned int kSecondsBetweenReads = 5;

// Runs the tool of the engine for a drive, on behalf of the operation of that name.
int run_tool(THDDTest& engine, const std::string& operation, std::vector<std::string> arguments,
             const std::string& device, std::string& output) {
  trace("THDDTest::" + operation + " -- Entering with deviceID = " + device);
  output.clear();
  engine.fToolArgs = std::move(arguments);
  engine.fToolArgs.push_back(device);
  const int status = NKVRHVX20::TOSSpecific::SpawnProcess(engine.fToolPath, engine.fToolArgs,
                                                          output, kToolSeconds);
  trace("THDDTest::" + operation + " -- Exiting");
  return status;
}

// The outcome after the last read brought no end of the test.
HDDIAG_TEST_STATUS status_after_time_out(THDDTest& engine, const std::string& device,
                                         const std::string& log) {
  HDDIAG_TEST_STATUS status = HDDIAG_TEST_FAILED;
  if (engine.IsEntryFullAndSame(log)) {
    // Such a log reads the same after the test as before. "stauts" is kept on purpose, as are
    // the two blanks below and the severity of this line, which is no failure: it stands among
    // the failures in the log.
    log_error("Log structure on " + device +
              " is full and all entries are in the same stauts, assume Self-Test has been done.");
    engine.GetLatestSelfTestStatus(log, status);
  } else if (engine::keeps_no_log(log)) {
    log_error("Self-Test  on " + device + " is not supported");
    status = HDDIAG_TEST_ABORTED;
  } else {
    log_error("Self-Test  on " + device + " does not finish in pre-set time.");
  }
  return status;
}

// Reads the log until it shows that the test has ended.
HDDIAG_TEST_STATUS poll_log(THDDTest& engine, const std::string& device,
                            const std::string& baseline) {
  trace("Get Self-Test status on " + device);
  HDDIAG_TEST_STATUS status = HDDIAG_TEST_FAILED;
  bool in_progress = false;
  for (int reads = 1;; ++reads) {
    std::string log;
    engine.RetrieveRecordedLog(device, log);
    trace("Current Self-Test logs: \n" + log);
    if (log.find("in progress") != std::string::npos) {
      trace("Test is in progress, continue to wait");
      in_progress = true;
    } else if (in_progress) {
      trace("Test is completed, get test status");
      engine.GetLatestSelfTestStatus(log, status);
      return status;
    } else if (log != baseline) {
      // A drive that is done before the first read never shows a test in progress.
      trace("Log entry has been changed, get test status");
      engine.GetLatestSelfTestStatus(log, status);
      return status;
    } else {
      trace("Log entry has not been changed, continue to wait");
    }
    if (reads == kReads) return status_after_time_out(engine, device, log);
    sleep(kSecondsBetweenReads);
  }
}

HDDIAG_TEST_STATUS test_drive(THDDTest& engine, const std::string& device) {
  trace("Check SMART support status on " + device);
  std::string output;
  bool enabled = false;
  int status = engine.CheckSmartStatus(device, output, enabled);
  trace("Check SMART support status: ErrorRet = " + std::to_string(status) +
        "\nCheck SMART support status: Smart Message \n" + output);
  if (engine::step_failed(status)) {
    log_error("Check SMART support status " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }
  if (!enabled) {
    log_error("SMART is not enabled on " + device);
    return HDDIAG_TEST_FAILED;
  }

  trace("Retrieve test logs recorded before triggering new Self-Test on " + device);
  std::string baseline;
  status = engine.RetrieveRecordedLog(device, baseline);
  trace("Retrieve test logs: ErrorRet = " + std::to_string(status) +
        "\nRetrieve test logs: Smart Message \n" + baseline);
  if (engine::step_failed(status)) {
    log_error("Retrieve test logs on " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }

  trace("Trigger Self-Test on " + device);
  status = engine.TriggerSelfTest(device, output);
  // Kept on purpose: this label has no blank before its line end, unlike the two above.
  trace("Trigger Self-Test: ErrorRet = " + std::to_string(status) +
        "\nTrigger Self-Test: Smart Message\n" + output);
  if (engine::step_failed(status)) {
    log_error("Trigger Self-Test on " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }
  return poll_log(engine, device, baseline);
}

}  // namespace

int THDDTest::CheckSmartStatus(const std::string& deviceID, std::string& output, bool& enabled) {
  const int status = run_tool(*this, "CheckSmartStatus", {"-i"}, deviceID, output);
  enabled = !engine::step_failed(status) && engine::is_smart_enabled(output);
  return status;
}

int THDDTest::EnableSmart(const std::string& deviceID, std::string& output) {
  return run_tool(*this, "EnableSmart", {"-s", "on"}, deviceID, output);
}

int THDDTest::TriggerSelfTest(const std::string& deviceID, std::string& output) {
  return run_tool(*this, "TriggerSelfTest", {"-t", "short"}, deviceID, output);
}

int THDDTest::RetrieveRecordedLog(const std::string& deviceID, std::string& output) {
  return run_tool(*this, "RetrieveRecordedLog", {"-l", "selftest"}, deviceID, output);
}

void THDDTest::SelfTest(std::string& deviceID) {
  trace("THDDTest::SelfTest -- Entering with deviceID=" + deviceID);
  const HDDIAG_TEST_STATUS status = test_drive(*this, deviceID);
  {
    const std::lock_guard<std::mutex> guard(engine::store_lock());
    fResults.push_back(status);
  }
  trace("THDDTest::SelfTest -- Exiting");
}
