#include "providers/KAVRO_HDDTest_DiagnosticCompletionRecord_Provider.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <algorithm>
#include <cstdio>
#include <new>
#include <tuple>

#include "providers/provider_test.h"
#include "providers/record_text.h"

namespace {

// About the message file that was opened last: the room that was allocated for it before, and
// whether programs that are started meanwhile inherit its descriptor.
std::size_t last_room = 0, room_for_messages = 0;
bool inherited = true;

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  last_room = size;
  return ::operator new[](size);
}

extern "C" std::FILE* fopen(const char* path, const char* mode) {
  static const auto original =
      reinterpret_cast<std::FILE* (*)(const char*, const char*)>(dlsym(RTLD_NEXT, "fopen"));
  std::FILE* const file = original(path, mode);
  if (file && std::string_view(path).ends_with("/hddtest.msg.xml")) {
    room_for_messages = last_room;
    inherited = (fcntl(fileno(file), F_GETFD) & FD_CLOEXEC) == 0;
  }
  return file;
}

namespace ovk_cimple {
namespace {

using testing::UnorderedElementsAreArray;
using Provider = KAVRO_HDDTest_DiagnosticCompletionRecord_Provider;
using Record = KAVRO_HDDTest_DiagnosticCompletionRecord;
constexpr char kName[] = "KAVRO_HDDTest_DiagnosticCompletionRecord_Provider";

constexpr char kMessages[] =
    R"(<diaganalysis version="1"><diagnostictest name="Hard Drive: Self Test">
<result state="passed"><errorcode>P0</errorcode><msg>fine</msg></result>
<result state="aborted"><errorcode>A0</errorcode><msg>stopped</msg></result>
<result state="failed"><errorcode>F0</errorcode><msg>broken</msg></result>
</diagnostictest></diaganalysis>)";

// The properties of a new record that are not null; an enumeration sets the time stamp as well.
std::vector<std::string> set_by_build_record() {
  return {"Caption",        "Description", "ElementName", "RecordFormat", "RecordData",
          "Locale",         "InstanceID",  "ServiceName", "RecordType",   "ManagedElementName",
          "CompletionState"};
}

TDiagnosticResultMessage message(std::string code, std::string state,
                                 std::vector<std::string> lines,
                                 std::vector<TDiagnosticAction> actions = {}) {
  TDiagnosticResultMessage result;
  result.fErrorCode = std::move(code);
  result.fState = std::move(state);
  result.fMessages = std::move(lines);
  result.fActions = std::move(actions);
  return result;
}

TDiagnosticAction action(std::string priority, std::string text) {
  TDiagnosticAction result;
  result.fPriority = std::move(priority);
  result.fText = std::move(text);
  return result;
}

TEST(Outcome, FollowsTheStatus) {
  struct {
    int status, state;
    const char* word;
  } const rows[] = {{0, 2, "passed"},  {1, 5, "failed"}, {2, 6, "aborted"}, {3, 5, "failed"},
                    {4, 6, "aborted"}, {5, 5, "failed"}, {-1, 5, "failed"}};
  for (const auto& row : rows) {
    EXPECT_EQ(outcome_of(row.status).completion_state, row.state) << row.status;
    EXPECT_STREQ(outcome_of(row.status).word, row.word) << row.status;
  }
}

TEST(RecordText, OnlyTheLastMessageLineOfAnEntrySurvives) {
  const std::multimap<std::string, TDiagnosticResultMessage> one = {
      {"hard drive: self test",
       message("E", "failed", {"M1", "M2", "M3"}, {action("1", "T1"), action("2", "T2")})}};
  EXPECT_EQ(record_text(one, "failed"), "E: M3\n1. T1\n2. T2\n");
}

TEST(RecordText, AnEntryWithoutMessageLinesGivesCodeAndActions) {
  const std::multimap<std::string, TDiagnosticResultMessage> one = {
      {"hard drive: self test", message("E", "failed", {}, {action("1", "T")})}};
  EXPECT_EQ(record_text(one, "failed"), "E: 1. T\n");
}

TEST(RecordText, EveryEntryOfTheStateContributesInOrderAndNoOther) {
  const std::multimap<std::string, TDiagnosticResultMessage> several = {
      {"hard drive: self test", message("E1", "failed", {"first"})},
      {"hard drive: self test", message("E2", "passed", {"no"})},
      {"hard drive: self test", message("E3", "failed", {"second"})},
      {"another test", message("E4", "failed", {"no"})},
      {"", message("E5", "failed", {"no"})}};
  EXPECT_EQ(record_text(several, "failed"), "E1: first\nE3: second\n");
  EXPECT_EQ(record_text(several, "aborted"), "");
  EXPECT_EQ(record_text({}, "failed"), "");
}

class CompletionRecord : public ProviderTest {
 protected:
  // Makes these the engine's results; the last one is the run's status.
  static void set_results(std::vector<int> results) {
    THDDTest::GetInstance()->fResults = std::move(results);
  }
  static Ref<Record> build() {
    return Ref<Record>::adopt(Provider::BuildRecord("/dev/sdx", "job7"));
  }
  Provider provider_;
};

TEST_F(CompletionRecord, BuildRecordSetsEveryPropertyOfTheTableAndStoresTheRecord) {
  write_message_file(kMessages);
  set_results({1, 0});
  take_log();
  const Ref<Record> record = build();
  ASSERT_TRUE(record);
  EXPECT_EQ(take_log(), trace(kName, "BuildRecord",
                              joined({engine_trace("THDDTest::GetResults -- Entering",
                                                   "THDDTest::GetResults -- Exiting"),
                                      {"3 theStatusRetCode=0"},
                                      engine_trace("THDDTest::AddRecord -- Entering",
                                                   "THDDTest::AddRecord -- Exiting")})));
  EXPECT_EQ(record->Caption.value(), "DiagnosticCompletionRecord");
  EXPECT_EQ(record->Description.value(), "Diagnostics results record");
  EXPECT_EQ(record->ElementName.value(), "Result for Hard Drive: Self Test");
  EXPECT_EQ(record->RecordFormat.value(), "");
  EXPECT_EQ(record->RecordData.value(), "P0: fine\n");
  EXPECT_EQ(record->Locale.value(), "en");
  EXPECT_EQ(record->InstanceID.value(), "job7");
  EXPECT_EQ(record->ServiceName.value(), "Hard Drive: Self Test");
  EXPECT_EQ(record->ManagedElementName.value(), "/dev/sdx");
  EXPECT_EQ(record->RecordType.value(), 2);
  EXPECT_EQ(record->CompletionState.value(), 2);
  EXPECT_THAT(properties_set(record.get()), UnorderedElementsAreArray(set_by_build_record()));
  const auto stored = THDDTest::GetInstance()->GetRecord();
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_EQ(stored[0].fJobID, "job7");
  EXPECT_EQ(stored[0].fRecordData, "P0: fine\n");
  EXPECT_EQ(stored[0].fServiceName, "Hard Drive: Self Test");
  EXPECT_EQ(stored[0].fDeviceID, "/dev/sdx");
  EXPECT_EQ(stored[0].fCompletionState, 2);
}

TEST_F(CompletionRecord, EnumerationDiffersInCaptionElementNameAndTimeStamp) {
  write_message_file(kMessages);
  set_results({4});
  build();
  take_log();
  const auto records = enumerate<Record>(provider_);
  EXPECT_EQ(take_log(), trace(kName, "enum_instances",
                              joined({engine_trace("THDDTest::GetRecord -- Entering",
                                                   "HDDTest::GetRecord -- Exiting"),
                                      trace(kName, "EnumRecord")})));
  ASSERT_EQ(records.size(), 1u);
  const Record& record = *records[0];
  EXPECT_EQ(record.Caption.value(), "DiagnosticRecord");
  EXPECT_EQ(record.Description.value(), "Diagnostics results record");
  EXPECT_EQ(record.ElementName.value(), "Result for HDDTest");
  EXPECT_EQ(record.RecordFormat.value(), "");
  EXPECT_EQ(record.RecordData.value(), "A0: stopped\n");
  EXPECT_EQ(record.Locale.value(), "en");
  EXPECT_EQ(record.InstanceID.value(), "job7");
  EXPECT_EQ(record.ServiceName.value(), "Hard Drive: Self Test");
  EXPECT_EQ(record.ManagedElementName.value(), "/dev/sdx");
  EXPECT_EQ(record.RecordType.value(), 2);
  EXPECT_EQ(record.CompletionState.value(), 6);
  EXPECT_FALSE(record.CreationTimeStamp.value().is_interval());
  EXPECT_NEAR(static_cast<double>(record.CreationTimeStamp.value().microseconds()),
              static_cast<double>(Datetime::now().microseconds()), 60e6);
  EXPECT_EQ(record.CreationTimeStamp.value().utc_offset_minutes(),
            Datetime::now().utc_offset_minutes());
  std::vector<std::string> expected = set_by_build_record();
  expected.push_back("CreationTimeStamp");
  EXPECT_THAT(properties_set(&record), UnorderedElementsAreArray(expected));
}

TEST_F(CompletionRecord, EnumeratingTwiceGivesTheSameRecordsWithDifferentTimeStamps) {
  write_message_file(kMessages);
  set_results({0});
  build();
  const auto first = enumerate<Record>(provider_);
  usleep(2000);
  const auto second = enumerate<Record>(provider_);
  ASSERT_EQ(second.size(), first.size());
  EXPECT_EQ(first[0]->RecordData.value(), second[0]->RecordData.value());
  EXPECT_NE(first[0]->CreationTimeStamp.value(), second[0]->CreationTimeStamp.value());
}

TEST_F(CompletionRecord, EnumRecordCutsTheStateToSixteenBits) {
  TDiagRecord stored;
  stored.fCompletionState = 0x10005;
  const auto record = Ref<Record>::adopt(Provider::EnumRecord(stored));
  EXPECT_EQ(record->CompletionState.value(), 5);
}

TEST_F(CompletionRecord, StatusChoosesStateAndText) {
  write_message_file(kMessages);
  struct {
    int status, state;
    const char* text;
  } const rows[] = {{0, 2, "P0: fine\n"},   {1, 5, "F0: broken\n"},  {2, 6, "A0: stopped\n"},
                    {3, 5, "F0: broken\n"}, {4, 6, "A0: stopped\n"}, {5, 5, "F0: broken\n"},
                    {-7, 5, "F0: broken\n"}};
  for (const auto& row : rows) {
    set_results({row.status});
    take_log();
    const Ref<Record> record = build();
    EXPECT_EQ(record->CompletionState.value(), row.state) << row.status;
    EXPECT_EQ(record->RecordData.value(), row.text) << row.status;
    EXPECT_THAT(take_log(), testing::Contains("3 theStatusRetCode=" + std::to_string(row.status)));
  }
}

TEST_F(CompletionRecord, NoStatusAtAllIsAFailedRunAndSaysSo) {
  write_message_file(kMessages);
  set_results({});
  take_log();
  const Ref<Record> record = build();
  const auto log = take_log();
  const auto error = std::find(log.begin(), log.end(), "3 fatal code error, no test result");
  ASSERT_NE(error, log.end());
  EXPECT_EQ(*(error + 1), "3 theStatusRetCode=3");
  EXPECT_EQ(record->CompletionState.value(), 5);
  EXPECT_EQ(record->RecordData.value(), "F0: broken\n");
}

TEST_F(CompletionRecord, MissingMessageFileGivesNothingAndStoresNothing) {
  set_results({0});
  take_log();
  EXPECT_EQ(Provider::BuildRecord("/dev/sdx", "job7"), nullptr);
  EXPECT_EQ(take_log(), std::vector<std::string>{trace(kName, "BuildRecord")[0]});
  EXPECT_TRUE(THDDTest::GetInstance()->GetRecord().empty());
}

TEST_F(CompletionRecord, MessageFileIsReadAfreshForEveryRecord) {
  set_results({0});
  write_message_file("");
  EXPECT_EQ(build()->RecordData.value(), "");
  write_message_file("<diaganalysis version='1'><diagnostictest");
  EXPECT_EQ(build()->RecordData.value(), "");
  write_message_file(kMessages);
  EXPECT_EQ(build()->RecordData.value(), "P0: fine\n");
  EXPECT_EQ(THDDTest::GetInstance()->GetRecord().size(), 3u);
}

TEST_F(CompletionRecord, TheMessageFileGetsAByteForItsEndAndIsNotInherited) {
  set_results({0});
  write_message_file(kMessages);
  inherited = true;
  room_for_messages = 0;
  build();
  EXPECT_EQ(room_for_messages, sizeof kMessages);  // with its zero
  EXPECT_FALSE(inherited);
}

TEST_F(CompletionRecord, StateInCapitalsInTheFileStillMatches) {
  set_results({0});
  write_message_file(
      "<diaganalysis version='1'><diagnostictest name='HARD DRIVE: SELF TEST'><result "
      "state='PASSED'><errorcode>P1</errorcode><msg>Fine</msg></result></diagnostictest>"
      "</diaganalysis>");
  EXPECT_EQ(build()->RecordData.value(), "P1: Fine\n");
}

TEST_F(CompletionRecord, RefusesEverythingElseWithItsFixedCodesAndLogs) {
  const Ref<Record> given = make<Record>();
  Lines expected;
  for (const Record* record : {static_cast<Record*>(nullptr), given.get()}) {
    Record* found = nullptr;
    take_log();
    const std::vector<std::tuple<std::string, sint32, sint32>> answers = {
        {"load", provider_.load(), 0},
        {"unload", provider_.unload(), 0},
        {"get_instance", provider_.get_instance(record, found), 61},
        {"create_instance", provider_.create_instance(record), 81},
        {"delete_instance", provider_.delete_instance(record), 91},
        {"modify_instance", provider_.modify_instance(record, record), 101}};
    expected.clear();
    for (const auto& [operation, status, code] : answers) {
      EXPECT_EQ(status, code) << operation;
      expected = joined({expected, trace(kName, operation)});
    }
    EXPECT_EQ(take_log(), expected);
    EXPECT_EQ(found, nullptr);
  }
  { const Provider another; }
  EXPECT_EQ(take_log(), joined({trace(kName, kName), trace(kName, std::string("~") + kName)}));
}

}  // namespace
}  // namespace ovk_cimple
