#include "providers/KAVRO_HDDTest_DiagnosticCompletionRecord_Provider.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <new>

#include "platform/framework/module_unit.h"
#include "platform/framework/provider_status.h"
#include "platform/support/osspecific.h"
#include "providers/operation_log.h"
#include "providers/record_text.h"

namespace ovk_cimple {

namespace {

using Provider = KAVRO_HDDTest_DiagnosticCompletionRecord_Provider;
using NKVRHVX20::TOSSpecific;

constexpr char kProvider[] = "KAVRO_HDDTest_DiagnosticCompletionRecord_Provider";
constexpr char kServiceName[] = "Hard Drive: Self Test";

// The run's status is the engine's last result. Without any result the run counts as not ended.
int last_status() {
  const std::vector<int> results = THDDTest::GetInstance()->GetResults();
  if (!results.empty()) return results.back();
  log_trace("fatal code error, no test result");
  return HDDIAG_TEST_IN_PROGRESS;
}

}  // namespace

std::multimap<std::string, TDiagnosticResultMessage> Provider::fResults;

Provider::KAVRO_HDDTest_DiagnosticCompletionRecord_Provider() {
  log_answer(kProvider, kProvider, OK);
}
Provider::~KAVRO_HDDTest_DiagnosticCompletionRecord_Provider() {
  log_answer(kProvider, "~KAVRO_HDDTest_DiagnosticCompletionRecord_Provider", OK);
}

sint32 Provider::enum_instances(const Class*, EnumHandler<Class>* handler) {
  log_entering(kProvider, "enum_instances");
  THDDTest::GetInstance()->visit_records(
      [handler](TDiagRecord record) { handler->handle(EnumRecord(std::move(record))); });
  log_exiting(kProvider, "enum_instances");
  return OK;
}

KAVRO_HDDTest_DiagnosticCompletionRecord* Provider::EnumRecord(TDiagRecord record) {
  log_entering(kProvider, "EnumRecord");
  Ref<Class> instance = make<Class>();
  // Kept on purpose: caption, element name and time stamp differ from what BuildRecord sets. A
  // client sees the time of its own enumeration, not that of the run.
  instance->Caption = "DiagnosticRecord";
  instance->Description = "Diagnostics results record";
  instance->ElementName = "Result for HDDTest";
  instance->RecordFormat = "";
  instance->RecordData = std::move(record.fRecordData);
  instance->Locale = "en";
  instance->InstanceID = std::move(record.fJobID);
  instance->ServiceName = std::move(record.fServiceName);
  instance->ManagedElementName = std::move(record.fDeviceID);
  instance->RecordType = 2;
  if (const auto now = Datetime::parse(TOSSpecific::GetLocalTime().ToString()))
    instance->CreationTimeStamp = *now;
  instance->CompletionState = static_cast<uint16>(record.fCompletionState);
  log_exiting(kProvider, "EnumRecord");
  return instance.release();
}

KAVRO_HDDTest_DiagnosticCompletionRecord* Provider::BuildRecord(std::string elementName,
                                                                std::string recordId) {
  log_entering(kProvider, "BuildRecord");
  Class* const instance = make<Class>().release();
  instance->Caption = "DiagnosticCompletionRecord";
  instance->Description = "Diagnostics results record";
  instance->ElementName = "Result for Hard Drive: Self Test";

  // Kept on purpose: the doubled slashes. The system reads them as single ones, but an
  // administrator sees them in a trace of system calls and in audit rules for the file.
  const std::string path = TOSSpecific::GetCurrentDir() + "//hddtest//hddtest.msg.xml";
  const auto count = static_cast<std::uint32_t>(TOSSpecific::GetFileSize(path));
  // One byte more than the file has, for the terminator that the parser reads up to.
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[std::uint64_t{count} + 1]);
  // Kept on purpose where null is returned, here and below: the instance is not released and no
  // exit line is logged. The client sees a run without a record.
  if (!buffer) return nullptr;
  std::FILE* const file = std::fopen(path.c_str(), "re");
  if (!file) return nullptr;
  buffer[std::fread(buffer.get(), 1, count, file)] = '\0';
  std::fclose(file);

  TDiagnosticResultParser parser;
  parser.Parse(buffer.get());
  const std::multimap<std::string, TDiagnosticResultMessage> messages = parser.getResultMsgs();
  instance->RecordFormat = "";
  instance->Locale = "en";

  const int status = last_status();
  log_trace("theStatusRetCode=" + std::to_string(status));
  const RecordedOutcome outcome = outcome_of(status);

  TDiagRecord record;
  record.fCompletionState = outcome.completion_state;
  record.fRecordData = record_text(messages, outcome.word);
  record.fJobID = recordId;
  record.fDeviceID = elementName;
  record.fServiceName = kServiceName;
  THDDTest::GetInstance()->AddRecord(&record);

  instance->CompletionState = static_cast<uint16>(outcome.completion_state);
  instance->RecordData = record.fRecordData;
  instance->InstanceID = std::move(recordId);
  instance->ManagedElementName = std::move(elementName);
  instance->ServiceName = kServiceName;
  instance->RecordType = 2;
  log_exiting(kProvider, "BuildRecord");
  return instance;
}

}  // namespace ovk_cimple
