// The CIM errors that requests get which are well formed, and the limits of what they may ask for.
#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CimErrors : public ServiceTest {};

TEST_F(CimErrors, IntrinsicOperationsThatNobodyServes) {
  for (const char* name :
       {"ExecQuery", "CreateClass", "ModifyClass", "DeleteClass", "SetQualifier", "DeleteQualifier",
        "OpenQueryInstances", "PullInstances", "EnumerationCount", "Nonsense"}) {
    expect_error(7, name, "");
  }
  expect_error(7, "CreateClass",
               "<IPARAMVALUE NAME=\"NewClass\"><CLASS NAME=\"A\"/></IPARAMVALUE>");
}

TEST_F(CimErrors, NameSpaces) {
  const auto in = [&](std::string_view name_space, std::string_view object) {
    const std::string body = message(simple_intrinsic("EnumerateClassNames", "", name_space));
    return content(answer(call_of(body, "EnumerateClassNames", object)), "IMETHODRESPONSE",
                   "EnumerateClassNames");
  };
  EXPECT_THAT(in("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/></LOCALNAMESPACEPATH>", "root"),
              StartsWith("<ERROR CODE=\"3\""));
  EXPECT_THAT(
      in("<LOCALNAMESPACEPATH><NAMESPACE NAME=\"ROOT/CimV2\"/></LOCALNAMESPACEPATH>", "root/cimv2"),
      StartsWith("<IRETURNVALUE>"));
}

TEST_F(CimErrors, ParametersAreCheckedAgainstTheOperation) {
  const std::string one = widget_parameter("InstanceName", "one");
  expect_error(4, "GetInstance", "");
  expect_error(4, "GetInstance", "<IPARAMVALUE NAME=\"InstanceName\"/>");
  expect_error(4, "GetInstance", one + one);
  expect_error(4, "GetInstance", one + value_parameter("Nonsense", "true"));
  expect_error(4, "GetInstance", class_parameter("InstanceName", "TEST_Widget"));
  expect_error(4, "GetInstance", one + value_parameter("LocalOnly", "maybe"));
  expect_error(4, "GetInstance", one + value_parameter("PropertyList", "Name"));
  expect_error(4, "GetInstance",
               one +
                   "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE.NULL/></VALUE.ARRAY>"
                   "</IPARAMVALUE>");
  expect_error(4, "EnumerateInstances", "");
  expect_error(4, "CreateInstance", one);
  EXPECT_THAT(ask("GetInstance", one + value_parameter("LocalOnly", "FALSE")),
              StartsWith("<IRETURNVALUE>"));
}

TEST_F(CimErrors, PropertyListsHaveALimit) {
  const auto list = [&](int names) {
    std::string text = widget_parameter("InstanceName", "one") +
                       "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>";
    for (int i = 0; i < names; ++i) text += "<VALUE>U8</VALUE>";
    return text + "</VALUE.ARRAY></IPARAMVALUE>";
  };
  EXPECT_THAT(ask("GetInstance", list(1000)), StartsWith("<IRETURNVALUE>"));
  expect_error(4, "GetInstance", list(1001));
}

TEST_F(CimErrors, ClassesInstancesAndKeys) {
  expect_error(5, "EnumerateInstances", class_parameter("ClassName", "TEST_None"));
  expect_error(5, "EnumerateClasses", class_parameter("ClassName", "TEST_None"));
  expect_error(6, "GetClass", class_parameter("ClassName", "TEST_None"));
  expect_error(6, "GetInstance", widget_parameter("InstanceName", "none"));
  const auto get = [](std::string_view class_name, std::string_view keys) {
    return "<IPARAMVALUE NAME=\"InstanceName\"><INSTANCENAME CLASSNAME=\"" +
           std::string(class_name) + "\">" + std::string(keys) + "</INSTANCENAME></IPARAMVALUE>";
  };
  const auto key = [](std::string_view name, std::string_view attributes, std::string_view value) {
    return "<KEYBINDING NAME=\"" + std::string(name) + "\"><KEYVALUE " + std::string(attributes) +
           ">" + std::string(value) + "</KEYVALUE></KEYBINDING>";
  };
  expect_error(5, "GetInstance", get("TEST_None", key("Name", "", "one")));
  expect_error(5, "GetInstance", get("TEST_None", "<KEYVALUE>one</KEYVALUE>"));
  expect_error(4, "GetInstance", get("TEST_Widget", ""));
  expect_error(4, "GetInstance", get("TEST_Widget", key("Caption", "", "one")));
  expect_error(4, "GetInstance", get("TEST_Widget", key("Name", "", "one") + key("NAME", "", "o")));
  expect_error(4, "GetInstance", get("TEST_Widget", key("Name", "VALUETYPE=\"numeric\"", "12")));
  expect_error(4, "GetInstance", get("TEST_Widget", key("Name", "VALUETYPE=\"numeric\"", "x")));
  expect_error(4, "GetInstance", get("TEST_Widget", key("Name", "VALUETYPE=\"boolean\"", "x")));
  expect_error(4, "GetInstance", get("TEST_Link", "<KEYVALUE>one</KEYVALUE>"));
  expect_error(
      12, "SetProperty",
      widget_parameter("InstanceName", "one") + value_parameter("PropertyName", "Nothing"));
  expect_error(13, "SetProperty",
               widget_parameter("InstanceName", "one") + value_parameter("PropertyName", "U8") +
                   value_parameter("NewValue", "256"));
  expect_error(4, "Associators",
               widget_parameter("ObjectName", "one") + class_parameter("AssocClass", "TEST_None"));
}

TEST_F(CimErrors, InstancesThatAreNone) {
  const auto create = [](std::string_view properties) {
    return "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"TEST_Widget\">" +
           std::string(properties) + "</INSTANCE></IPARAMVALUE>";
  };
  const auto embedded = [](const std::string& text) {
    return "<PROPERTY NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"object\"><VALUE>" + text +
           "</VALUE></PROPERTY>";
  };
  const std::string wrong[] = {
      "<PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE>256</VALUE></PROPERTY>",
      "<PROPERTY NAME=\"U8\" TYPE=\"uint8\"><VALUE></VALUE></PROPERTY>",
      "<PROPERTY NAME=\"U8\" TYPE=\"boolean\"><VALUE>true</VALUE></PROPERTY>",
      "<PROPERTY NAME=\"When\" TYPE=\"datetime\"><VALUE>today</VALUE></PROPERTY>",
      "<PROPERTY NAME=\"No\" TYPE=\"string\"><VALUE>a</VALUE></PROPERTY>",
      "<PROPERTY NAME=\"U8\" TYPE=\"uint8\"/><PROPERTY NAME=\"u8\" TYPE=\"uint8\"/>",
      embedded("x"),
      embedded("&lt;CLASS NAME=\"A\"/&gt;"),
  };
  for (const std::string& properties : wrong) expect_error(4, "CreateInstance", create(properties));
}

TEST_F(CimErrors, EmbeddingHasALimit) {
  const auto embedded = [](int levels) {
    std::string text = "<INSTANCE CLASSNAME=\"TEST_Widget\"/>";
    for (int i = 0; i < levels; ++i) {
      std::string escaped;
      for (const char c : text) {
        if (c == '<')
          escaped += "&lt;";
        else if (c == '&')
          escaped += "&amp;";
        else
          escaped += c;
      }
      text =
          "<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"Inner\" TYPE=\"string\" "
          "EmbeddedObject=\"instance\"><VALUE>" +
          escaped + "</VALUE></PROPERTY></INSTANCE>";
    }
    return "<IPARAMVALUE NAME=\"NewInstance\">" + text + "</IPARAMVALUE>";
  };
  EXPECT_THAT(ask("CreateInstance", embedded(8)), StartsWith("<IRETURNVALUE>"));
  EXPECT_THAT(ask("CreateInstance", embedded(9)), HasSubstr("embedded too deep"));
}

TEST_F(CimErrors, ModifyingUnderAnotherName) {
  expect_error(4, "ModifyInstance",
               "<IPARAMVALUE NAME=\"ModifiedInstance\"><VALUE.NAMEDINSTANCE>" + widget_name("one") +
                   "<INSTANCE CLASSNAME=\"TEST_Gadget\"/></VALUE.NAMEDINSTANCE></IPARAMVALUE>");
}

TEST_F(CimErrors, ProvidersErrorsArePassedOn) {
  const auto get = [&](std::string_view name) {
    return ask("GetInstance", widget_parameter("InstanceName", name));
  };
  EXPECT_EQ(get("failing"), "<ERROR CODE=\"1\" DESCRIPTION=\"broken on purpose\"/>");
  EXPECT_THAT(get("wordless"), StartsWith("<ERROR CODE=\"2\" DESCRIPTION=\"provider Widget"));
  EXPECT_EQ(get("strange"), "<ERROR CODE=\"200\" DESCRIPTION=\"two hundred\"/>");
}

TEST_F(CimErrors, DescriptionsAreEscaped) {
  EXPECT_EQ(ask("EnumerateInstances", class_parameter("ClassName", "a&lt;&quot;&amp;&#10;")),
            "<ERROR CODE=\"5\" DESCRIPTION=\"there is no class a&lt;&quot;&amp;&#10;\"/>");
}

}  // namespace
}  // namespace broker::cimxml
