// A service over the test provider, and short ways to ask it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <string>
#include <string_view>

#include "broker/cimxml/service.h"
#include "broker/test_classes.h"

namespace broker::cimxml {

// Keeps the reply, like a client that reads so many bytes (patience) and then no more.
struct Recorder : Reply {
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
  std::size_t writes = 0;
  std::size_t longest_write = 0;
  std::size_t patience = ~std::size_t{0};
  bool abandoned = false;

  void begin(int http_status, const Headers& fields) override {
    EXPECT_EQ(status, 0) << "begun twice";
    status = http_status;
    for (const auto& [name, value] : fields) headers[name] = value;
  }
  void write(std::string_view text) override {
    EXPECT_NE(status, 0) << "written before the beginning";
    if (body.size() + text.size() > patience) throw Gone();
    ++writes;
    longest_write = std::max(longest_write, text.size());
    body += text;
  }
  void abandon() override { abandoned = true; }
};

inline std::string value_parameter(std::string_view name, std::string_view value) {
  return "<IPARAMVALUE NAME=\"" + std::string(name) + "\"><VALUE>" + std::string(value) +
         "</VALUE></IPARAMVALUE>";
}
inline std::string class_parameter(std::string_view name, std::string_view class_name) {
  return "<IPARAMVALUE NAME=\"" + std::string(name) + "\"><CLASSNAME NAME=\"" +
         std::string(class_name) + "\"/></IPARAMVALUE>";
}
inline std::string widget_name(std::string_view name) {
  return "<INSTANCENAME CLASSNAME=\"TEST_Widget\"><KEYBINDING NAME=\"Name\"><KEYVALUE "
         "VALUETYPE=\"string\" TYPE=\"string\">" +
         std::string(name) + "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}
inline std::string widget_parameter(std::string_view parameter, std::string_view name) {
  return "<IPARAMVALUE NAME=\"" + std::string(parameter) + "\">" + widget_name(name) +
         "</IPARAMVALUE>";
}
inline constexpr std::string_view kLocalNameSpace =
    "<LOCALNAMESPACEPATH><NAMESPACE NAME=\"root\"/><NAMESPACE NAME=\"cimv2\"/>"
    "</LOCALNAMESPACEPATH>";

inline std::string simple_intrinsic(std::string_view name, std::string_view parameters,
                                    std::string_view name_space = kLocalNameSpace) {
  return "<SIMPLEREQ><IMETHODCALL NAME=\"" + std::string(name) + "\">" + std::string(name_space) +
         std::string(parameters) + "</IMETHODCALL></SIMPLEREQ>";
}
inline std::string simple_method(std::string_view name, std::string_view parameters,
                                 std::string_view instance) {
  return "<SIMPLEREQ><METHODCALL NAME=\"" + std::string(name) + "\"><LOCALINSTANCEPATH>" +
         std::string(kLocalNameSpace) + std::string(instance) + "</LOCALINSTANCEPATH>" +
         std::string(parameters) + "</METHODCALL></SIMPLEREQ>";
}
inline std::string message(std::string_view request) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" "
         "DTDVERSION=\"2.0\"><MESSAGE ID=\"7\" PROTOCOLVERSION=\"1.0\">" +
         std::string(request) + "</MESSAGE></CIM>";
}

class ServiceTest : public testing::Test {
 protected:
  explicit ServiceTest(Limits limits = {}, Options options = test_options())
      : manager_(test_schema(), std::move(options)),
        service_(manager_, limits, [this] { return now_; }) {}

  Recorder answer(const Call& call) {
    Recorder recorder;
    service_.answer(call, recorder);
    return recorder;
  }

  static Call call_of(std::string_view body, std::string_view method, std::string_view object) {
    Call call;
    call.body = body;
    call.operation = "MethodCall";
    call.method = method;
    call.object = object;
    return call;
  }

  // The content of the response element of an operation that was answered.
  std::string ask(std::string_view name, std::string_view parameters) {
    const std::string body = message(simple_intrinsic(name, parameters));
    return content(answer(call_of(body, name, "root/cimv2")), "IMETHODRESPONSE", name);
  }
  std::string invoke(std::string_view name, std::string_view parameters,
                     std::string_view instance = "one") {
    const std::string body = message(simple_method(name, parameters, widget_name(instance)));
    const std::string object = "root/cimv2:TEST_Widget.Name=\"" + std::string(instance) + "\"";
    return content(answer(call_of(body, name, object)), "METHODRESPONSE", name);
  }

  static std::string content(const Recorder& reply, const std::string& element,
                             std::string_view name) {
    EXPECT_EQ(reply.status, 200);
    EXPECT_FALSE(reply.abandoned);
    const std::string before =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.4\">"
        "<MESSAGE ID=\"7\" PROTOCOLVERSION=\"1.0\"><SIMPLERSP><" +
        element + " NAME=\"" + std::string(name) + "\">";
    const std::string after = "</" + element + "></SIMPLERSP></MESSAGE></CIM>\n";
    if (!reply.body.starts_with(before) || !reply.body.ends_with(after)) {
      ADD_FAILURE() << "no such response: " << reply.body;
      return {};
    }
    return reply.body.substr(before.size(), reply.body.size() - before.size() - after.size());
  }

  void expect_error(int code, std::string_view name, std::string_view parameters) {
    EXPECT_THAT(ask(name, parameters),
                testing::StartsWith("<ERROR CODE=\"" + std::to_string(code) + "\" DESCRIPTION=\""))
        << name << " " << parameters;
  }

  void let_pass(std::chrono::milliseconds time) { now_ += time; }

  std::chrono::steady_clock::time_point now_ = std::chrono::steady_clock::now();
  ObjectManager manager_;
  Service service_;
};

// How often a text stands in another.
inline std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + part.size())) {
    ++found;
  }
  return found;
}

}  // namespace broker::cimxml
