// The parser as the module links it, and the order of its virtual functions.
#include <gtest/gtest.h>

#include <cstring>

#include "results/TDiagnosticResultParser.h"

namespace {

// In the C++ ABI of this platform an object begins with the address of its table of virtual
// functions, and a member function is called like a function whose first argument is the object.
template <typename... Arguments>
void call_slot(TDiagnosticResultParser& parser, std::size_t slot, Arguments... arguments) {
  using Function = void (*)(TDiagnosticResultParser*, Arguments...);
  Function* table;
  std::memcpy(&table, static_cast<void*>(&parser), sizeof(table));
  table[slot](&parser, arguments...);
}

struct Recorder : TDiagnosticResultParser {
  explicit Recorder(std::string& log) : called(log) {}
  ~Recorder() override { called = "destructor"; }
  void StartElement(const char*, std::map<std::string, std::string>&) override {
    called = "StartElement";
  }
  void EndElement(const char*) override { called = "EndElement"; }
  void processingInstruction(const char*, const char*) override {
    called = "processingInstruction";
  }
  void characters(const char*, unsigned int) override { called = "characters"; }
  void notationDecl(const char*, const char*, const char*) override { called = "notationDecl"; }
  void FatalError(const char*) override { called = "FatalError"; }
  void ParseJSSP() override { called = "ParseJSSP"; }
  void ParseCharData() override { called = "ParseCharData"; }
  void GetAttributeNValue() override { called = "GetAttributeNValue"; }
  std::string& called;
};

TEST(ResultParserOrder, EachSlotOfTheVirtualTableHoldsItsFunction) {
  std::string called;
  Recorder parser(called);
  std::map<std::string, std::string> attributes;
  call_slot<const char*, std::map<std::string, std::string>*>(parser, 2, "", &attributes);
  EXPECT_EQ(called, "StartElement");
  call_slot(parser, 3, "");
  EXPECT_EQ(called, "EndElement");
  call_slot(parser, 4, "", "");
  EXPECT_EQ(called, "processingInstruction");
  call_slot(parser, 5, "", 0U);
  EXPECT_EQ(called, "characters");
  call_slot(parser, 6, "", "", "");
  EXPECT_EQ(called, "notationDecl");
  call_slot(parser, 7, "");
  EXPECT_EQ(called, "FatalError");
  call_slot(parser, 8);
  EXPECT_EQ(called, "ParseJSSP");
  call_slot(parser, 9);
  EXPECT_EQ(called, "ParseCharData");
  call_slot(parser, 10);
  EXPECT_EQ(called, "GetAttributeNValue");
}

TEST(ResultParserOrder, TheFirstTwoSlotsAreTheDestructors) {
  std::string called;
  alignas(Recorder) unsigned char place[sizeof(Recorder)];
  call_slot(*new (place) Recorder(called), 0);
  EXPECT_EQ(called, "destructor");
  called.clear();
  call_slot(*new Recorder(called), 1);
  EXPECT_EQ(called, "destructor");
}

TEST(ResultParserOrder, TheModulesParserReadsAFileAndIsSilentAboutItsErrors) {
  char file[] =
      "<diaganalysis><?skip this?><nonsense/>"
      "<diagnostictest name='T'><result state='S' x='1'><msg>text</msg></result>";
  TDiagnosticResultParser parser;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  parser.Parse(file);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  ASSERT_EQ(parser.getResultMsgs().size(), 1u);
  EXPECT_EQ(parser.getResultMsgs().begin()->second.fMessages, std::vector<std::string>{"text"});
}

}  // namespace
