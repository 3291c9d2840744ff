// Operations on instances and methods, as their XML.
#include <initializer_list>

#include "broker/cimxml/service.h"

#include "broker/cimxml/service_fixture.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::string_view kOne =
    "<INSTANCE CLASSNAME=\"TEST_Widget\">"
    "<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE>one</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Caption\" TYPE=\"string\"><VALUE>A caption</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Flag\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"Letter\" TYPE=\"char16\"><VALUE>\xE2\x82\xAC</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"R32\" TYPE=\"real32\"><VALUE>0.5</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"R64\" TYPE=\"real64\"><VALUE>-0.25</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE>255</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"U16\" TYPE=\"uint16\"><VALUE>65535</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"U32\" TYPE=\"uint32\"><VALUE>4294967295</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"U64\" TYPE=\"uint64\"><VALUE>18446744073709551615</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"S8\" TYPE=\"sint8\"><VALUE>-128</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"S16\" TYPE=\"sint16\"><VALUE>-32768</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"S32\" TYPE=\"sint32\"><VALUE>-2147483647</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"S64\" TYPE=\"sint64\"><VALUE>-9223372036854775807</VALUE></PROPERTY>"
    "<PROPERTY NAME=\"When\" TYPE=\"datetime\"><VALUE>20240131120000.000000+060</VALUE></PROPERTY>"
    "<PROPERTY.ARRAY NAME=\"Texts\" TYPE=\"string\"><VALUE.ARRAY><VALUE>a,b</VALUE><VALUE.NULL/>"
    "<VALUE></VALUE></VALUE.ARRAY></PROPERTY.ARRAY>"
    "<PROPERTY.ARRAY NAME=\"Numbers\" TYPE=\"uint16\"></PROPERTY.ARRAY>"
    "<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>"
    "&lt;INSTANCE CLASSNAME=\"TEST_Widget\"&gt;&lt;PROPERTY NAME=\"U8\" "
    "TYPE=\"uint8\"&gt;&lt;VALUE&gt;1&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;"
    "</VALUE></PROPERTY>"
    "<PROPERTY.REFERENCE NAME=\"Friend\" REFERENCECLASS=\"TEST_Base\"><VALUE.REFERENCE>"
    "<LOCALINSTANCEPATH><LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
    "</LOCALNAMESPACEPATH><INSTANCENAME CLASSNAME=\"TEST_Widget\"><KEYBINDING NAME=\"Name\">"
    "<KEYVALUE VALUETYPE=\"string\" TYPE=\"string\">friend</KEYVALUE></KEYBINDING></INSTANCENAME>"
    "</LOCALINSTANCEPATH></VALUE.REFERENCE></PROPERTY.REFERENCE></INSTANCE>";

std::string returned(std::string_view text) {
  return "<IRETURNVALUE>" + std::string(text) + "</IRETURNVALUE>";
}

std::string path_of(std::string_view name) {
  return "<INSTANCEPATH><NAMESPACEPATH><HOST>" + host_name() + "</HOST>" +
         std::string(kLocalNameSpace) + "</NAMESPACEPATH>" + std::string(name) + "</INSTANCEPATH>";
}

std::string property_list(std::initializer_list<std::string_view> names) {
  std::string text = "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
  for (const std::string_view name : names) text += "<VALUE>" + std::string(name) + "</VALUE>";
  return text + "</VALUE.ARRAY></IPARAMVALUE>";
}

using Operations = ServiceTest;

TEST_F(Operations, RepliesCarryTheHeadersOfTheStandard) {
  const std::string body =
      message(simple_intrinsic("GetInstance", widget_parameter("InstanceName", "one")));
  const Recorder reply = answer(call_of(body, "GetInstance", "root/cimv2"));
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.headers.at("Content-Type"), "application/xml; charset=utf-8");
  EXPECT_EQ(reply.headers.at("CIMOperation"), "MethodResponse");
}

TEST_F(Operations, GetInstanceGivesEveryTypeOfValue) {
  EXPECT_EQ(ask("GetInstance", widget_parameter("InstanceName", "one")), returned(kOne));
}

TEST_F(Operations, NamesOfOperationsAndParametersCompareWithoutCase) {
  EXPECT_EQ(ask("getinstance", widget_parameter("INSTANCENAME", "one")), returned(kOne));
}

TEST_F(Operations, PropertyListsChooseAndMayBeEmpty) {
  EXPECT_EQ(ask("GetInstance",
                widget_parameter("InstanceName", "one") + property_list({"u8", "None", "U8"})),
            returned("<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"U8\" "
                     "TYPE=\"uint8\"><VALUE>255</VALUE></PROPERTY></INSTANCE>"));
  EXPECT_EQ(ask("GetInstance", widget_parameter("InstanceName", "one") + property_list({})),
            returned("<INSTANCE CLASSNAME=\"TEST_Widget\"></INSTANCE>"));
  EXPECT_EQ(ask("GetInstance",
                widget_parameter("InstanceName", "one") + "<IPARAMVALUE NAME=\"PropertyList\"/>"),
            returned(kOne));
}

TEST_F(Operations, ClassOriginIsToldWhenAskedFor) {
  EXPECT_EQ(ask("GetInstance", widget_parameter("InstanceName", "one") +
                                   value_parameter("IncludeClassOrigin", "true") +
                                   property_list({"Name", "U8"})),
            returned("<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"Name\" TYPE=\"string\" "
                     "CLASSORIGIN=\"TEST_Base\"><VALUE>one</VALUE></PROPERTY><PROPERTY NAME=\"U8\" "
                     "TYPE=\"uint8\" CLASSORIGIN=\"TEST_Widget\"><VALUE>255</VALUE></PROPERTY>"
                     "</INSTANCE>"));
}

TEST_F(Operations, EnumerateInstancesGivesNamedInstancesOfTheClassAndBelow) {
  const std::string text = ask("EnumerateInstances", class_parameter("ClassName", "TEST_Widget"));
  EXPECT_THAT(text, StartsWith("<IRETURNVALUE><VALUE.NAMEDINSTANCE>" + widget_name("one") +
                               std::string(kOne) + "</VALUE.NAMEDINSTANCE><VALUE.NAMEDINSTANCE>"));
  EXPECT_EQ(count(text, "<VALUE.NAMEDINSTANCE>"), 4u);
  EXPECT_EQ(count(text, "NAME=\"Extra\""), 2u);
}

TEST_F(Operations, ShallowEnumerationLeavesOutWhatSubclassesAdd) {
  const std::string text =
      ask("EnumerateInstances", class_parameter("ClassName", "TEST_Widget") +
                                    value_parameter("DeepInheritance", "False"));
  EXPECT_EQ(count(text, "<VALUE.NAMEDINSTANCE>"), 4u);
  EXPECT_EQ(count(text, "NAME=\"Extra\""), 0u);
}

TEST_F(Operations, LocalOnlyAndQualifiersMakeNoDifferenceForInstances) {
  const std::string plain = ask("EnumerateInstances", class_parameter("ClassName", "TEST_Gadget"));
  EXPECT_EQ(ask("EnumerateInstances", class_parameter("ClassName", "TEST_Gadget") +
                                          value_parameter("LocalOnly", "true") +
                                          value_parameter("IncludeQualifiers", "true")),
            plain);
}

TEST_F(Operations, EnumerateInstanceNamesGivesNames) {
  EXPECT_THAT(ask("EnumerateInstanceNames", class_parameter("ClassName", "TEST_Widget")),
              StartsWith("<IRETURNVALUE>" + widget_name("one") + widget_name("two") +
                         "<INSTANCENAME CLASSNAME=\"TEST_Gadget\">"));
}

TEST_F(Operations, AssociatorsAndReferences) {
  const std::string two = path_of(widget_name("two"));
  EXPECT_EQ(ask("AssociatorNames", widget_parameter("ObjectName", "one")),
            returned("<OBJECTPATH>" + two + "</OBJECTPATH>"));
  EXPECT_THAT(
      ask("Associators",
          widget_parameter("ObjectName", "one") + class_parameter("AssocClass", "TEST_Link") +
              class_parameter("ResultClass", "TEST_Base") + value_parameter("Role", "first") +
              value_parameter("ResultRole", "Second")),
      StartsWith("<IRETURNVALUE><VALUE.OBJECTWITHPATH>" + two +
                 "<INSTANCE CLASSNAME=\"TEST_Widget\">"));
  const auto end = [](std::string_view name) {
    return "<VALUE.REFERENCE><LOCALINSTANCEPATH>" + std::string(kLocalNameSpace) +
           widget_name(name) + "</LOCALINSTANCEPATH></VALUE.REFERENCE>";
  };
  const std::string link = path_of(
      "<INSTANCENAME CLASSNAME=\"TEST_Link\"><KEYBINDING NAME=\"First\">" + end("one") +
      "</KEYBINDING><KEYBINDING NAME=\"Second\">" + end("two") + "</KEYBINDING></INSTANCENAME>");
  EXPECT_EQ(ask("ReferenceNames", widget_parameter("ObjectName", "one")),
            returned("<OBJECTPATH>" + link + "</OBJECTPATH>"));
  EXPECT_EQ(ask("References", widget_parameter("ObjectName", "one") +
                                  class_parameter("ResultClass", "TEST_Link")),
            returned("<VALUE.OBJECTWITHPATH>" + link +
                     "<INSTANCE CLASSNAME=\"TEST_Link\"></INSTANCE></VALUE.OBJECTWITHPATH>"));
}

TEST_F(Operations, AnInstanceIsCreatedChangedReadAndDeleted) {
  const std::string created =
      "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"test_widget\">"
      "<QUALIFIER NAME=\"Description\" TYPE=\"string\"><VALUE>x</VALUE></QUALIFIER>"
      "<PROPERTY NAME=\"Name\" TYPE=\"string\"><VALUE> &lt;new&gt; </VALUE></PROPERTY>"
      "<PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE> 0x10 </VALUE></PROPERTY>"
      "<PROPERTY NAME=\"R64\" TYPE=\"real64\"><VALUE>+1.5E2</VALUE></PROPERTY>"
      "<PROPERTY NAME=\"Flag\" TYPE=\"boolean\"></PROPERTY>"
      "<PROPERTY.ARRAY NAME=\"Numbers\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/>"
      "</VALUE.ARRAY></PROPERTY.ARRAY>"
      "<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE><![CDATA["
      "<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE>3</VALUE>"
      "</PROPERTY></INSTANCE>]]></VALUE></PROPERTY>"
      "<PROPERTY.REFERENCE NAME=\"Friend\"><VALUE.REFERENCE>" +
      widget_name("one") + "</VALUE.REFERENCE></PROPERTY.REFERENCE></INSTANCE></IPARAMVALUE>";
  const std::string name = widget_name(" &lt;new&gt; ");
  EXPECT_EQ(ask("CreateInstance", created), returned(name));
  expect_error(11, "CreateInstance", created);
  EXPECT_EQ(ask("ModifyInstance",
                "<IPARAMVALUE NAME=\"ModifiedInstance\"><VALUE.NAMEDINSTANCE>" + name +
                    "<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"U16\" TYPE=\"uint16\">"
                    "<VALUE>9</VALUE></PROPERTY></INSTANCE></VALUE.NAMEDINSTANCE></IPARAMVALUE>" +
                    property_list({"U16"})),
            "");
  EXPECT_EQ(ask("SetProperty", "<IPARAMVALUE NAME=\"InstanceName\">" + name + "</IPARAMVALUE>" +
                                   value_parameter("PropertyName", "u32") +
                                   value_parameter("NewValue", "12")),
            "");
  const std::string found = ask("EnumerateInstances", class_parameter("ClassName", "TEST_Widget"));
  EXPECT_THAT(
      found,
      AllOf(HasSubstr("<VALUE> &lt;new&gt; </VALUE>"),
            HasSubstr("<PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE>16</VALUE></PROPERTY>"),
            HasSubstr("<PROPERTY NAME=\"R64\" TYPE=\"real64\"><VALUE>150.0</VALUE></PROPERTY>"),
            HasSubstr("<PROPERTY NAME=\"Flag\" TYPE=\"boolean\"></PROPERTY>"),
            HasSubstr("<VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/></VALUE.ARRAY>"),
            HasSubstr("&lt;PROPERTY NAME=\"U8\" TYPE=\"uint8\"&gt;&lt;VALUE&gt;3&lt;/VALUE&gt;"),
            HasSubstr("<PROPERTY NAME=\"U16\" TYPE=\"uint16\"><VALUE>9</VALUE></PROPERTY>"),
            HasSubstr("<PROPERTY NAME=\"U32\" TYPE=\"uint32\"><VALUE>12</VALUE></PROPERTY>")));
  const std::string parameter = "<IPARAMVALUE NAME=\"InstanceName\">" + name + "</IPARAMVALUE>";
  EXPECT_EQ(ask("DeleteInstance", parameter), "");
  expect_error(6, "DeleteInstance", parameter);
}

TEST_F(Operations, AnOnlyKeyNeedsNoName) {
  EXPECT_EQ(ask("GetInstance",
                "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME "
                "CLASSNAME=\"TEST_Widget\"><KEYVALUE>one</KEYVALUE></INSTANCENAME>"
                "</IPARAMVALUE>"),
            returned(kOne));
}

TEST_F(Operations, GetPropertyGivesValuesArraysReferencesAndNulls) {
  const auto get = [&](std::string_view name) {
    return ask("GetProperty",
               widget_parameter("InstanceName", "one") + value_parameter("PropertyName", name));
  };
  EXPECT_EQ(get("U64"), returned("<VALUE>18446744073709551615</VALUE>"));
  EXPECT_EQ(get("texts"), returned("<VALUE.ARRAY><VALUE>a,b</VALUE><VALUE.NULL/><VALUE></VALUE>"
                                   "</VALUE.ARRAY>"));
  EXPECT_THAT(get("Friend"), StartsWith("<IRETURNVALUE><VALUE.REFERENCE><LOCALINSTANCEPATH>"));
  EXPECT_EQ(get("Numbers"), returned(""));
  EXPECT_THAT(get("Nothing"), StartsWith("<ERROR CODE=\"12\""));
}

// Methods.

std::string argument(std::string_view name, std::string_view type, std::string_view value) {
  return "<PARAMVALUE NAME=\"" + std::string(name) + "\" PARAMTYPE=\"" + std::string(type) +
         "\"><VALUE>" + std::string(value) + "</VALUE></PARAMVALUE>";
}

TEST_F(Operations, MethodsTakeAndGiveParameters) {
  EXPECT_EQ(invoke("Add", argument("a", "uint32", "4") + argument("B", "sint64", "-9")),
            "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE><PARAMVALUE "
            "NAME=\"Sum\" PARAMTYPE=\"sint64\"><VALUE>-5</VALUE></PARAMVALUE>");
  EXPECT_EQ(invoke("Add", "<PARAMVALUE NAME=\"A\"><VALUE>4</VALUE></PARAMVALUE>"),
            "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>0</VALUE></RETURNVALUE><PARAMVALUE "
            "NAME=\"Sum\" PARAMTYPE=\"sint64\"><VALUE>4</VALUE></PARAMVALUE>");
}

TEST_F(Operations, ParametersOfEveryFormComeBack) {
  const std::string inner =
      "&lt;INSTANCE CLASSNAME=\"TEST_Widget\"&gt;&lt;PROPERTY NAME=\"U8\" "
      "TYPE=\"uint8\"&gt;&lt;VALUE&gt;3&lt;/VALUE&gt;&lt;/PROPERTY&gt;&lt;/INSTANCE&gt;";
  const std::string common =
      "<PARAMVALUE NAME=\"What\"><VALUE>a &amp; b</VALUE></PARAMVALUE>"
      "<PARAMVALUE NAME=\"List\" PARAMTYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/>"
      "</VALUE.ARRAY></PARAMVALUE>"
      "<PARAMVALUE NAME=\"Target\" PARAMTYPE=\"reference\"><VALUE.REFERENCE>" +
      widget_name("two") + "</VALUE.REFERENCE></PARAMVALUE>";
  const std::string answer =
      "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>4</VALUE></RETURNVALUE>"
      "<PARAMVALUE NAME=\"What\" PARAMTYPE=\"string\"><VALUE>a &amp; b</VALUE></PARAMVALUE>"
      "<PARAMVALUE NAME=\"List\" PARAMTYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/>"
      "</VALUE.ARRAY></PARAMVALUE>"
      "<PARAMVALUE NAME=\"Target\" PARAMTYPE=\"reference\"><VALUE.REFERENCE><LOCALINSTANCEPATH>" +
      std::string(kLocalNameSpace) + widget_name("two") +
      "</LOCALINSTANCEPATH></VALUE.REFERENCE></PARAMVALUE>"
      "<PARAMVALUE NAME=\"Inner\" PARAMTYPE=\"string\" EmbeddedObject=\"instance\"><VALUE>" +
      inner + "</VALUE></PARAMVALUE>";
  EXPECT_EQ(invoke("Echo", common +
                               "<PARAMVALUE NAME=\"Inner\" PARAMTYPE=\"string\" "
                               "EmbeddedObject=\"instance\"><VALUE>" +
                               inner + "</VALUE></PARAMVALUE>"),
            answer);
  EXPECT_EQ(invoke("Echo", common + argument("Inner", "string", inner)), answer);
}

TEST_F(Operations, NullResultsAreLeftAway) {
  EXPECT_EQ(invoke("Text", ""), "");
  EXPECT_EQ(invoke("Echo", "<PARAMVALUE NAME=\"What\"/>"),
            "<RETURNVALUE PARAMTYPE=\"uint32\"><VALUE>1</VALUE></RETURNVALUE>");
}

TEST_F(Operations, AMethodMayBeCalledOnAClass) {
  const std::string body = message(
      "<SIMPLEREQ><METHODCALL NAME=\"Add\"><LOCALCLASSPATH>" + std::string(kLocalNameSpace) +
      "<CLASSNAME NAME=\"TEST_Widget\"/></LOCALCLASSPATH></METHODCALL></SIMPLEREQ>");
  EXPECT_THAT(
      content(answer(call_of(body, "Add", "root/cimv2:TEST_Widget")), "METHODRESPONSE", "Add"),
      StartsWith("<RETURNVALUE"));
}

TEST_F(Operations, ThePrincipalReachesTheProvider) {
  const std::string body =
      message(simple_method("Do", argument("What", "string", "principal"), widget_name("one")));
  Call call = call_of(body, "Do", "root/cimv2:TEST_Widget.Name=\"one\"");
  call.principal = "<somebody>";
  EXPECT_THAT(answer(call).body, HasSubstr("<VALUE>&lt;somebody&gt;</VALUE>"));
}

// Messages with several requests.

TEST_F(Operations, RequestsOfABatchAreAnsweredOneByOne) {
  const std::string body = message(
      "<MULTIREQ>" + simple_intrinsic("GetInstance", widget_parameter("InstanceName", "none")) +
      simple_intrinsic("EnumerateInstanceNames", class_parameter("ClassName", "TEST_Gadget")) +
      simple_method("Add", argument("A", "uint32", "4"), widget_name("one")) + "</MULTIREQ>");
  Call call;
  call.body = body;
  call.operation = "MethodCall";
  call.batch = "";
  const Recorder reply = answer(call);
  EXPECT_EQ(reply.status, 200);
  EXPECT_THAT(reply.body,
              AllOf(HasSubstr("<MULTIRSP><SIMPLERSP><IMETHODRESPONSE NAME=\"GetInstance\"><ERROR "
                              "CODE=\"6\""),
                    HasSubstr("</IMETHODRESPONSE></SIMPLERSP><SIMPLERSP><IMETHODRESPONSE "
                              "NAME=\"EnumerateInstanceNames\"><IRETURNVALUE><INSTANCENAME"),
                    HasSubstr("</IMETHODRESPONSE></SIMPLERSP><SIMPLERSP><METHODRESPONSE "
                              "NAME=\"Add\"><RETURNVALUE"),
                    HasSubstr("</METHODRESPONSE></SIMPLERSP></MULTIRSP></MESSAGE></CIM>")));
}

// Streaming.

std::string created(std::string_view name, std::size_t size) {
  return "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY "
         "NAME=\"Name\" TYPE=\"string\"><VALUE>" +
         std::string(name) +
         "</VALUE></PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\"><VALUE>" +
         std::string(size, 'x') + "</VALUE></PROPERTY></INSTANCE></IPARAMVALUE>";
}

TEST_F(Operations, LongRepliesComeInBlocks) {
  for (int i = 0; i < 20; ++i) ask("CreateInstance", created("w" + std::to_string(i), 20'000));
  const std::string body =
      message(simple_intrinsic("EnumerateInstances", class_parameter("ClassName", "TEST_Widget")));
  const Recorder reply = answer(call_of(body, "EnumerateInstances", "root/cimv2"));
  EXPECT_EQ(count(reply.body, "<VALUE.NAMEDINSTANCE>"), 24u);
  EXPECT_GE(reply.writes, 4u);
  EXPECT_LE(reply.longest_write, 64u * 1024 + 21'000);
}

TEST_F(Operations, AClientThatGoesLeavesTheServiceInOrder) {
  for (int i = 0; i < 20; ++i) ask("CreateInstance", created("w" + std::to_string(i), 20'000));
  const std::string body =
      message("<MULTIREQ>" +
              simple_intrinsic("EnumerateInstances", class_parameter("ClassName", "TEST_Widget")) +
              simple_intrinsic("CreateInstance", created("late", 1)) + "</MULTIREQ>");
  Call call;
  call.body = body;
  call.operation = "MethodCall";
  call.batch = "";
  Recorder reply;
  reply.patience = 100'000;
  service_.answer(call, reply);
  EXPECT_FALSE(reply.abandoned);
  EXPECT_LE(reply.body.size(), 100'000u);
  // The operation is carried out all the same.
  EXPECT_EQ(ask("DeleteInstance", widget_parameter("InstanceName", "late")), "");
}

class FailingOperations : public ServiceTest {
 protected:
  static Options options() {
    Options options = test_options();
    options.registration = {test_entry("TEST_Widget", "Widget", "im"),
                            test_entry("TEST_Gadget", "HalfWay", "i")};
    return options;
  }
  FailingOperations() : ServiceTest({}, options()) {}
};

TEST_F(FailingOperations, AnErrorAfterInstancesTakesTheirPlace) {
  EXPECT_EQ(ask("EnumerateInstances", class_parameter("ClassName", "TEST_Widget")),
            "<ERROR CODE=\"1\" DESCRIPTION=\"half way\"/>");
}

TEST_F(FailingOperations, AnErrorAfterTheFirstBlockBreaksTheReplyOff) {
  for (int i = 0; i < 10; ++i) ask("CreateInstance", created("w" + std::to_string(i), 20'000));
  const std::string body =
      message(simple_intrinsic("EnumerateInstances", class_parameter("ClassName", "TEST_Widget")));
  const Recorder reply = answer(call_of(body, "EnumerateInstances", "root/cimv2"));
  EXPECT_EQ(reply.status, 200);
  EXPECT_TRUE(reply.abandoned);
  EXPECT_THAT(reply.body, Not(HasSubstr("</CIM>")));
}

}  // namespace
}  // namespace broker::cimxml
