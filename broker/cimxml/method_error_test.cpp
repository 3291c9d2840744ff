// Method calls with faulty parameters.
#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using MethodErrors = ServiceTest;

TEST_F(MethodErrors, MethodsAndTheirParameters) {
  EXPECT_THAT(invoke("Nothing", ""), StartsWith("<ERROR CODE=\"17\""));
  EXPECT_THAT(invoke("Missing", ""), StartsWith("<ERROR CODE=\"16\""));
  EXPECT_THAT(invoke("Add", "<PARAMVALUE NAME=\"C\"><VALUE>1</VALUE></PARAMVALUE>"),
              StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(invoke("Add", "<PARAMVALUE NAME=\"A\"><VALUE>one</VALUE></PARAMVALUE>"),
              StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(invoke("Add",
                     "<PARAMVALUE NAME=\"A\" PARAMTYPE=\"boolean\"><VALUE>true</VALUE>"
                     "</PARAMVALUE>"),
              StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(invoke("Add", "<PARAMVALUE NAME=\"A\"><CLASS NAME=\"X\"/></PARAMVALUE>"),
              StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(invoke("Echo", "<PARAMVALUE NAME=\"Inner\"><VALUE>x</VALUE></PARAMVALUE>"),
              StartsWith("<ERROR CODE=\"4\""));
  const std::string body =
      message(simple_method("Add", "", "<INSTANCENAME CLASSNAME=\"TEST_None\"></INSTANCENAME>"));
  EXPECT_THAT(answer(call_of(body, "Add", "root/cimv2:TEST_None")).body,
              HasSubstr("<METHODRESPONSE NAME=\"Add\"><ERROR CODE=\"6\""));
}

TEST_F(MethodErrors, ReferencesAreOnesOfTheDeclaredClass) {
  const auto echo = [&](std::string_view target) {
    return invoke("Echo", "<PARAMVALUE NAME=\"Target\"" + std::string(target) + "</PARAMVALUE>");
  };
  const auto reference = [&](const std::string& name) {
    return echo(" PARAMTYPE=\"reference\"><VALUE.REFERENCE>" + name + "</VALUE.REFERENCE>");
  };
  EXPECT_THAT(reference(widget_name("two")), StartsWith("<RETURNVALUE"));
  EXPECT_THAT(echo(">"), StartsWith("<RETURNVALUE"));
  for (const char* text : {">", " PARAMTYPE=\"string\">", " PARAMTYPE=\"reference\">"}) {
    EXPECT_THAT(echo(std::string(text) + "<VALUE>TEST_Widget.Name=\"two\"</VALUE>"),
                StartsWith("<ERROR CODE=\"4\""));
  }
  EXPECT_THAT(echo("><VALUE.ARRAY><VALUE>x</VALUE></VALUE.ARRAY>"),
              StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(reference("<CLASSNAME NAME=\"Nope\"/>"), StartsWith("<ERROR CODE=\"4\""));
  EXPECT_THAT(reference("<INSTANCENAME CLASSNAME=\"TEST_Link\"></INSTANCENAME>"),
              HasSubstr("class TEST_Link is no TEST_Base"));
  // An object elsewhere may be of a class that is unknown here.
  EXPECT_THAT(
      reference("<INSTANCEPATH><NAMESPACEPATH><HOST>there</HOST>" + std::string(kLocalNameSpace) +
                "</NAMESPACEPATH><INSTANCENAME CLASSNAME=\"Nope\"></INSTANCENAME>"
                "</INSTANCEPATH>"),
      StartsWith("<RETURNVALUE"));
}

TEST_F(MethodErrors, TheTextOfAPathHasALimit) {
  const auto link = [&](int keys) {
    std::string text = "TEST_None.";
    for (int i = 0; i < keys; ++i) text += (i == 0 ? "k" : ",k") + std::to_string(i) + "=1";
    return ask("GetInstance",
               "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME CLASSNAME=\"TEST_Link\">"
               "<KEYBINDING NAME=\"First\"><KEYVALUE>" +
                   text + "</KEYVALUE></KEYBINDING></INSTANCENAME></IPARAMVALUE>");
  };
  EXPECT_THAT(link(100), AllOf(StartsWith("<ERROR CODE=\"6\""), Not(HasSubstr("keys"))));
  EXPECT_THAT(link(101), HasSubstr("too many keys"));
}

// For a client that has gone no further method is begun, since each may be a test of minutes.
struct Absent : Recorder {
  bool client_has_gone() const override { return true; }
};

TEST_F(MethodErrors, LaterMethodsOfABatchAreNotBegunForAClientThatHasGone) {
  const std::string add = simple_method("Add", "", widget_name("one"));
  const std::string body = message(
      "<MULTIREQ>" + add + simple_intrinsic("GetClass", class_parameter("ClassName", "TEST_Base")) +
      add + "</MULTIREQ>");
  Call call;
  call.body = body;
  call.operation = "MethodCall";
  call.batch = "";
  Recorder present;
  service_.answer(call, present);
  EXPECT_EQ(count(present.body, "<RETURNVALUE"), 2u) << present.body;
  Absent absent;
  service_.answer(call, absent);
  EXPECT_EQ(count(absent.body, "<RETURNVALUE"), 1u) << absent.body;
  EXPECT_THAT(absent.body, AllOf(HasSubstr("the client has gone before this was begun"),
                                 HasSubstr("<CLASS NAME=\"TEST_Base\"")));
}

}  // namespace
}  // namespace broker::cimxml
