// The engine's runs of smartctl and the self-test made of them.
#include "engine/self_test.h"

#include <unistd.h>

#include <utility>

#include "engine/HDDTest.h"
#include "engine/locks.h"
#include "engine/trace.h"
#include "platform/support/osspecific.h"

using engine::log_error;
using engine::Trace;

namespace engine {

bool StepFailed(int status) { return (status & 15) != 0; }

bool IsSmartEnabled(const std::string& information) {
  return information.find("SMART support is: Enabled") != std::string::npos ||
         information.find("Device supports SMART and is Enabled") != std::string::npos;
}

bool KeepsNoLog(const std::string& log) {
  return log.find("No self-tests have been logged") != std::string::npos ||
         log.find("SMART Self-test Log not supported") != std::string::npos;
}

}  // namespace engine

namespace {

constexpr int kToolSeconds = 20;
constexpr int kReads = 121;
constexpr unsigned int kSecondsBetweenReads = 5;

// Runs the tool of the engine for a drive, on behalf of the operation of that name.
int RunTool(THDDTest& engine, const std::string& operation, std::vector<std::string> arguments,
            const std::string& device, std::string& output) {
  Trace("THDDTest::" + operation + " -- Entering with deviceID = " + device);
  output.clear();
  engine.fToolArgs = std::move(arguments);
  engine.fToolArgs.push_back(device);
  const int status = NKVRHVX20::TOSSpecific::SpawnProcess(engine.fToolPath, engine.fToolArgs,
                                                          output, kToolSeconds);
  Trace("THDDTest::" + operation + " -- Exiting");
  return status;
}

// The outcome after the last read brought no end of the test.
HDDIAG_TEST_STATUS StatusAfterTimeOut(THDDTest& engine, const std::string& device,
                                      const std::string& log) {
  HDDIAG_TEST_STATUS status = HDDIAG_TEST_FAILED;
  if (engine.IsEntryFullAndSame(log)) {
    // Such a log reads the same after the test as before. "stauts" is kept on purpose, as are
    // the two blanks below and the severity of this line, which is no failure: it stands among
    // the failures in the log.
    log_error("Log structure on " + device +
              " is full and all entries are in the same stauts, assume Self-Test has been done.");
    engine.GetLatestSelfTestStatus(log, status);
  } else if (engine::KeepsNoLog(log)) {
    log_error("Self-Test  on " + device + " is not supported");
    status = HDDIAG_TEST_ABORTED;
  } else {
    log_error("Self-Test  on " + device + " does not finish in pre-set time.");
  }
  return status;
}

// Reads the log until it shows that the test has ended.
HDDIAG_TEST_STATUS PollLog(THDDTest& engine, const std::string& device,
                           const std::string& baseline) {
  Trace("Get Self-Test status on " + device);
  HDDIAG_TEST_STATUS status = HDDIAG_TEST_FAILED;
  bool in_progress = false;
  for (int reads = 1;; ++reads) {
    std::string log;
    engine.RetrieveRecordedLog(device, log);
    Trace("Current Self-Test logs: \n" + log);
    if (log.find("in progress") != std::string::npos) {
      Trace("Test is in progress, continue to wait");
      in_progress = true;
    } else if (in_progress) {
      Trace("Test is completed, get test status");
      engine.GetLatestSelfTestStatus(log, status);
      return status;
    } else if (log != baseline) {
      // A drive that is done before the first read never shows a test in progress.
      Trace("Log entry has been changed, get test status");
      engine.GetLatestSelfTestStatus(log, status);
      return status;
    } else {
      Trace("Log entry has not been changed, continue to wait");
    }
    if (reads == kReads) return StatusAfterTimeOut(engine, device, log);
    sleep(kSecondsBetweenReads);
  }
}

HDDIAG_TEST_STATUS TestDrive(THDDTest& engine, const std::string& device) {
  Trace("Check SMART support status on " + device);
  std::string output;
  bool enabled = false;
  int status = engine.CheckSmartStatus(device, output, enabled);
  Trace("Check SMART support status: ErrorRet = " + std::to_string(status) +
        "\nCheck SMART support status: Smart Message \n" + output);
  if (engine::StepFailed(status)) {
    log_error("Check SMART support status " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }
  if (!enabled) {
    log_error("SMART is not enabled on " + device);
    return HDDIAG_TEST_FAILED;
  }

  Trace("Retrieve test logs recorded before triggering new Self-Test on " + device);
  std::string baseline;
  status = engine.RetrieveRecordedLog(device, baseline);
  Trace("Retrieve test logs: ErrorRet = " + std::to_string(status) +
        "\nRetrieve test logs: Smart Message \n" + baseline);
  if (engine::StepFailed(status)) {
    log_error("Retrieve test logs on " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }

  Trace("Trigger Self-Test on " + device);
  status = engine.TriggerSelfTest(device, output);
  // Kept on purpose: this label has no blank before its line end, unlike the two above.
  Trace("Trigger Self-Test: ErrorRet = " + std::to_string(status) +
        "\nTrigger Self-Test: Smart Message\n" + output);
  if (engine::StepFailed(status)) {
    log_error("Trigger Self-Test on " + device + " Failed");
    return HDDIAG_TEST_FAILED;
  }
  return PollLog(engine, device, baseline);
}

}  // namespace

int THDDTest::CheckSmartStatus(const std::string& deviceID, std::string& output, bool& enabled) {
  const int status = RunTool(*this, "CheckSmartStatus", {"-i"}, deviceID, output);
  enabled = !engine::StepFailed(status) && engine::IsSmartEnabled(output);
  return status;
}

int THDDTest::EnableSmart(const std::string& deviceID, std::string& output) {
  return RunTool(*this, "EnableSmart", {"-s", "on"}, deviceID, output);
}

int THDDTest::TriggerSelfTest(const std::string& deviceID, std::string& output) {
  return RunTool(*this, "TriggerSelfTest", {"-t", "short"}, deviceID, output);
}

int THDDTest::RetrieveRecordedLog(const std::string& deviceID, std::string& output) {
  return RunTool(*this, "RetrieveRecordedLog", {"-l", "selftest"}, deviceID, output);
}

void THDDTest::SelfTest(std::string& deviceID) {
  Trace("THDDTest::SelfTest -- Entering with deviceID=" + deviceID);
  const HDDIAG_TEST_STATUS status = TestDrive(*this, deviceID);
  {
    const std::lock_guard<std::mutex> guard(engine::StoreLock());
    fResults.push_back(status);
  }
  Trace("THDDTest::SelfTest -- Exiting");
}
