// The answers to requests that are refused before their operation, and how large they may be.
#include <sstream>

#include "broker/cimxml/document.h"
#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

struct Refused {
  int status;
  std::string error;
  bool operator==(const Refused&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Refused& refused) {
    return out << refused.status << " " << refused.error;
  }
};

const Refused kFine{200, ""};
const Refused kNotWellFormed{400, "request-not-well-formed"};
const Refused kNotValid{400, "request-not-loosely-valid"};
const Refused kMismatch{400, "header-mismatch"};

class Errors : public ServiceTest {
 protected:
  static Refused refused(const Recorder& reply) {
    const auto error = reply.headers.find("CIMError");
    EXPECT_EQ(reply.status == 200, !reply.body.empty());
    return {reply.status, error == reply.headers.end() ? "" : error->second};
  }

  Refused send(std::string_view body) {
    return refused(answer(call_of(body, "EnumerateInstanceNames", "root/cimv2")));
  }

  const std::string good_ = message(
      simple_intrinsic("EnumerateInstanceNames", class_parameter("ClassName", "TEST_Widget")));
  std::string replaced(std::string_view part, std::string_view by) const {
    std::string body = good_;
    const std::size_t at = body.find(part);
    EXPECT_NE(at, std::string::npos) << part;
    return body.replace(at, part.size(), by);
  }
};

// Header fields.

TEST_F(Errors, TheGoodRequestIsFine) { EXPECT_EQ(send(good_), kFine); }

TEST_F(Errors, OnlyMethodCallsAreCarriedOut) {
  Call call = call_of(good_, "EnumerateInstanceNames", "root/cimv2");
  call.operation = "MethodResponse";
  EXPECT_EQ(refused(answer(call)), (Refused{400, "unsupported-operation"}));
  call.operation.reset();
  EXPECT_EQ(refused(answer(call)), (Refused{400, "unsupported-operation"}));
  call.operation = " methodcall ";
  EXPECT_EQ(refused(answer(call)), kFine);
  for (const char* indication : {"<SIMPLEEXPREQ/>", "<MULTIEXPREQ/>"})
    EXPECT_EQ(send(message(indication)), (Refused{400, "unsupported-operation"})) << indication;
}

TEST_F(Errors, OtherVersionsAreNotSupported) {
  Call call = call_of(good_, "EnumerateInstanceNames", "root/cimv2");
  call.protocol_version = "2.0";
  const Recorder reply = answer(call);
  EXPECT_EQ(refused(reply), (Refused{501, "unsupported-protocol-version"}));
  EXPECT_EQ(reply.headers.at("CIMProtocolVersion"), "1.0");
  call.protocol_version = "1.0";
  EXPECT_EQ(refused(answer(call)), kFine);
  EXPECT_EQ(send(replaced("PROTOCOLVERSION=\"1.0\"", "PROTOCOLVERSION=\"1.4\"")), kFine);
  EXPECT_EQ(send(replaced("PROTOCOLVERSION=\"1.0\"", "PROTOCOLVERSION=\"2.0\"")),
            (Refused{501, "unsupported-protocol-version"}));
  EXPECT_EQ(send(replaced("DTDVERSION=\"2.0\"", "DTDVERSION=\"2.4\"")), kFine);
  EXPECT_EQ(send(replaced("DTDVERSION=\"2.0\"", "DTDVERSION=\"3.0\"")),
            (Refused{501, "unsupported-dtd-version"}));
  EXPECT_EQ(send(replaced("CIMVERSION=\"2.0\"", "CIMVERSION=\"12.0\"")),
            (Refused{501, "unsupported-cim-version"}));
  EXPECT_EQ(send(replaced("CIMVERSION=\"2.0\"", "CIMVERSION=\"two\"")), kNotValid);
}

TEST_F(Errors, HeadersMustSayWhatTheBodySays) {
  const auto with = [&](auto change) {
    Call call = call_of(good_, "EnumerateInstanceNames", "root/cimv2");
    change(call);
    return refused(answer(call));
  };
  EXPECT_EQ(with([](Call& call) { call.method = "GetInstance"; }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.method.reset(); }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.method = "enumerateinstancenames"; }), kFine);
  EXPECT_EQ(with([](Call& call) { call.object = "root/other"; }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.object.reset(); }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.object = "ROOT/CIMv2"; }), kFine);
  EXPECT_EQ(with([](Call& call) { call.batch = ""; }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.protocol_version = "1.1"; }), kMismatch);
  EXPECT_EQ(with([](Call& call) { call.protocol_version = "one"; }), kMismatch);
}

TEST_F(Errors, HeadersOfMethodsNameTheObject) {
  const std::string body = message(simple_method("Add", "", widget_name("a\"b")));
  const auto with = [&](const char* object) {
    return refused(answer(call_of(body, "Add", object)));
  };
  EXPECT_EQ(with("root/cimv2:TEST_Widget.Name=\"a\\\"b\""), kFine);
  EXPECT_EQ(with("//here/ROOT/cimv2:test_widget.NAME=\"a\\\"b\""), kFine);
  EXPECT_EQ(with("root/cimv2:TEST_Widget.Name=\"other\""), kMismatch);
  EXPECT_EQ(with("root/cimv2:TEST_Widget"), kMismatch);
  EXPECT_EQ(with("root/cimv2:TEST_Gadget.Name=\"a\\\"b\""), kMismatch);
  EXPECT_EQ(with("TEST_Widget.Name=\"a\\\"b\""), kMismatch);
  EXPECT_EQ(with("root/cimv2:TEST_Widget.Name=\"a\"b\""), kMismatch);
}

TEST_F(Errors, BodiesAreXmlInUtf8) {
  const auto with = [&](const char* type) {
    Call call = call_of(good_, "EnumerateInstanceNames", "root/cimv2");
    call.content_type = type;
    return answer(call).status;
  };
  EXPECT_EQ(with("application/xml; charset=utf-8"), 200);
  EXPECT_EQ(with("text/xml;charset=\"UTF-8\""), 200);
  EXPECT_EQ(with("Text/XML ; x=y"), 200);
  EXPECT_EQ(with("application/json"), 415);
  EXPECT_EQ(with("application/xml; charset=iso-8859-1"), 415);
  EXPECT_EQ(with(""), 415);
}

// Bodies.

TEST_F(Errors, WhatIsNotWellFormedIsRefused) {
  for (const char* body : {"", " ", "<", "<CIM", "<CIM></CIN>", "<CIM/><CIM/>", "text",
                           "<CIM A=\"1\" A=\"2\"/>", "<CIM>&nbsp;</CIM>", "<CIM>\xFF</CIM>"}) {
    EXPECT_EQ(send(body), kNotWellFormed) << body;
  }
  for (const std::size_t size : {1, 2, 3, 1000, 1'000'000})
    EXPECT_EQ(send(std::string(size, '\0')), kNotWellFormed) << size << " zeros";
  EXPECT_EQ(send(std::string("a\0a", 3)), kNotWellFormed);
  EXPECT_EQ(send(good_.substr(0, good_.size() - 1)), kNotWellFormed);
  EXPECT_EQ(send(good_ + "x"), kNotWellFormed);
}

TEST_F(Errors, OtherEncodingsAreRefused) {
  const auto wide = [&](std::string_view mark, bool big) {
    std::string text(mark);
    for (const char c : good_.substr(good_.find("<CIM"))) {
      text += big ? std::string{'\0', c} : std::string{c, '\0'};
    }
    return text;
  };
  const Refused refused{415, ""};
  EXPECT_EQ(send(wide("\xFE\xFF", true)), refused);
  EXPECT_EQ(send(wide("\xFF\xFE", false)), refused);
  EXPECT_EQ(send(wide("", true)), refused);
  EXPECT_EQ(send(wide("", false)), refused);
  EXPECT_EQ(send(replaced("utf-8", "iso-8859-1")), refused);
  EXPECT_EQ(send(replaced("utf-8", "utf-16")), refused);
  EXPECT_EQ(send(replaced("utf-8", "UTF-8")), kFine);
  EXPECT_EQ(send(replaced(" encoding=\"utf-8\"", "")), kFine);
  EXPECT_EQ(send("\xEF\xBB\xBF" + good_), kFine);
}

TEST_F(Errors, WhatIsNoMessageIsNotValid) {
  for (const char* body :
       {"<CIM/>", "<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\"/>", "<MESSAGE/>", "<unknown/>"}) {
    EXPECT_EQ(send(body), kNotValid) << body;
  }
  EXPECT_EQ(send(replaced(" ID=\"7\"", "")), kNotValid);
  EXPECT_EQ(send(replaced(" NAME=\"EnumerateInstanceNames\"", "")), kNotValid);
  EXPECT_EQ(send(replaced(kLocalNameSpace, "")), kNotValid);
  EXPECT_EQ(send(replaced(kLocalNameSpace, "<LOCALNAMESPACEPATH/>")), kNotValid);
  EXPECT_EQ(send(replaced("<SIMPLEREQ>", "<SIMPLEREQ>text")), kNotValid);
  EXPECT_EQ(send(replaced("<CLASSNAME", "<VALUE></VALUE><CLASSNAME")), kNotValid);
  EXPECT_EQ(send(replaced("<CLASSNAME NAME", "<CLASSNAME NAMES")), kNotValid);
  EXPECT_EQ(send(replaced("<CLASSNAME NAME", "<VALUE>a<VALUE/>b</VALUE><CLASSNAME NAME")),
            kNotValid);
  EXPECT_EQ(send(replaced("</SIMPLEREQ>", "</SIMPLEREQ><SIMPLEREQ/>")), kNotValid);
  EXPECT_EQ(send(replaced("IPARAMVALUE NAME=\"ClassName\"", "IPARAMVALUE")), kNotValid);
  std::istringstream known(  // so not skipped
      "CIM MESSAGE MULTIREQ SIMPLEREQ MULTIEXPREQ SIMPLEEXPREQ MULTIRSP SIMPLERSP MULTIEXPRSP "
      "SIMPLEEXPRSP DECLARATION IMETHODCALL METHODCALL IPARAMVALUE PARAMVALUE VALUE VALUE.ARRAY "
      "VALUE.NULL VALUE.REFERENCE VALUE.REFARRAY VALUE.NAMEDINSTANCE LOCALNAMESPACEPATH "
      "NAMESPACEPATH NAMESPACE HOST CLASSPATH LOCALCLASSPATH CLASSNAME INSTANCEPATH "
      "LOCALINSTANCEPATH INSTANCENAME KEYBINDING KEYVALUE CLASS INSTANCE PROPERTY PROPERTY.ARRAY "
      "PROPERTY.REFERENCE QUALIFIER.DECLARATION");
  for (std::string name; known >> name;)
    EXPECT_EQ(send(replaced("</SIMPLEREQ>", "</SIMPLEREQ><" + name + "/>")), kNotValid) << name;
}

TEST_F(Errors, WhatTheStandardDoesNotKnowIsSkipped) {
  EXPECT_EQ(send(replaced("<SIMPLEREQ>", "<SIMPLEREQ other=\"1\"><more>text<CIM/></more>")), kFine);
}

TEST_F(Errors, DocumentTypesAreRefused) {
  EXPECT_EQ(send(replaced("<CIM ", "<!DOCTYPE CIM [<!ENTITY a \"b\">]><CIM ")), kNotValid);
  EXPECT_EQ(send(replaced("<CIM ", "<!DOCTYPE CIM SYSTEM \"file:///etc/passwd\"><CIM ")),
            kNotValid);
}

TEST_F(Errors, DepthHasALimit) {
  const auto nested = [](std::size_t levels) {  // around CIM, MESSAGE, SIMPLEREQ
    std::string text;
    for (std::size_t i = 0; i < levels; ++i) text += "<a>";
    for (std::size_t i = 0; i < levels; ++i) text += "</a>";
    return text;
  };
  EXPECT_EQ(send(replaced("<SIMPLEREQ>", "<SIMPLEREQ>" + nested(61))), kFine);
  EXPECT_EQ(send(replaced("<SIMPLEREQ>", "<SIMPLEREQ>" + nested(62))), kNotValid);
  EXPECT_EQ(send(nested(1'000'000)), kNotValid);
}

TEST_F(Errors, AttributesHaveALimit) {
  EXPECT_EQ(send(replaced("ID=\"7\"", "ID=\"" + std::string(kLongestAttribute, 'x') + "\"")),
            kFine);
  EXPECT_EQ(send(replaced("ID=\"7\"", "ID=\"" + std::string(kLongestAttribute + 1, 'x') + "\"")),
            kNotValid);
}

class SmallBatches : public Errors {
 protected:
  Refused batch(int requests) {
    ObjectManager small(test_schema(), test_options());
    Service service(small, {.batch = 3});
    std::string text = "<MULTIREQ>";
    for (int i = 0; i < requests; ++i) text += simple_intrinsic("EnumerateClassNames", "");
    const std::string body = message(text + "</MULTIREQ>");
    Call call;
    call.body = body;
    call.operation = "MethodCall";
    call.batch = "";
    Recorder reply;
    service.answer(call, reply);
    return refused(reply);
  }
};

TEST_F(SmallBatches, HaveFromTwoRequestsToTheLimit) {
  EXPECT_EQ(batch(1), kNotValid);
  EXPECT_EQ(batch(2), kFine);
  EXPECT_EQ(batch(3), kFine);
  EXPECT_EQ(batch(4), (Refused{501, "multiple-requests-unsupported"}));
}

TEST_F(Errors, BatchesNameNoMethodInTheHeader) {
  const std::string body = message("<MULTIREQ>" + simple_intrinsic("EnumerateClassNames", "") +
                                   simple_intrinsic("EnumerateClassNames", "") + "</MULTIREQ>");
  Call call = call_of(body, "EnumerateClassNames", "root/cimv2");
  EXPECT_EQ(refused(answer(call)), kMismatch);
  call.batch = "";
  EXPECT_EQ(refused(answer(call)), kMismatch);
}

}  // namespace
}  // namespace broker::cimxml
