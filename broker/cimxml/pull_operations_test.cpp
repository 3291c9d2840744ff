// Enumerations that are opened, pulled and closed.
#include <chrono>

#include "broker/cimxml/budget.h"
#include "broker/cimxml/service_fixture.h"
#include "broker/cimxml/writer.h"

namespace broker::cimxml {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class Pulls : public ServiceTest {
 protected:
  explicit Pulls(Limits limits = {}) : ServiceTest(limits) {}

  static std::string number(std::string_view name, int value) {
    return value_parameter(name, std::to_string(value));
  }

  static std::string open_parameters(int objects) {
    return class_parameter("ClassName", "TEST_Widget") + number("MaxObjectCount", objects);
  }

  // The name of the enumeration in an answer; empty at its end.
  static std::string context_of(const std::string& answer) {
    const std::string before =
        "</IRETURNVALUE><PARAMVALUE NAME=\"EnumerationContext\" PARAMTYPE=\"string\">";
    const std::size_t begin = answer.find(before);
    if (begin == std::string::npos) {
      ADD_FAILURE() << answer;
      return {};
    }
    std::string rest = answer.substr(begin + before.size());
    std::string context;
    if (rest.starts_with("<VALUE>")) {
      rest.erase(0, 7);
      context = rest.substr(0, rest.find('<'));
      EXPECT_NE(context, "");
      EXPECT_EQ(rest.substr(context.size(), 8), "</VALUE>");
      rest.erase(0, context.size() + 8);
    }
    EXPECT_EQ(rest,
              "</PARAMVALUE><PARAMVALUE NAME=\"EndOfSequence\" PARAMTYPE=\"boolean\">"
              "<VALUE>" +
                  std::string(context.empty() ? "TRUE" : "FALSE") + "</VALUE></PARAMVALUE>");
    return context;
  }

  std::string pull(std::string_view operation, std::string_view context, int objects) {
    return ask(operation,
               value_parameter("EnumerationContext", context) + number("MaxObjectCount", objects));
  }
};

std::string path(std::string_view name) {
  return "<INSTANCEPATH><NAMESPACEPATH><HOST>" + host_name() + "</HOST>" +
         std::string(kLocalNameSpace) + "</NAMESPACEPATH>" + widget_name(name) + "</INSTANCEPATH>";
}

TEST_F(Pulls, InstancesComeInParts) {
  const std::string first = ask("OpenEnumerateInstances", open_parameters(1));
  EXPECT_THAT(first, StartsWith("<IRETURNVALUE><VALUE.INSTANCEWITHPATH>" + path("one") +
                                "<INSTANCE CLASSNAME=\"TEST_Widget\">"));
  EXPECT_EQ(count(first, "<VALUE.INSTANCEWITHPATH>"), 1u);
  const std::string context = context_of(first);
  ASSERT_EQ(context.size(), 32u);
  const std::string second = pull("PullInstancesWithPath", context, 2);
  EXPECT_THAT(second, StartsWith("<IRETURNVALUE><VALUE.INSTANCEWITHPATH>" + path("two")));
  EXPECT_EQ(count(second, "<VALUE.INSTANCEWITHPATH>"), 2u);
  EXPECT_EQ(context_of(second), context);
  EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<IRETURNVALUE></IRETURN"));
  const std::string last = pull("PullInstancesWithPath", context, 100);
  EXPECT_EQ(count(last, "<VALUE.INSTANCEWITHPATH>"), 1u);
  EXPECT_EQ(context_of(last), "");
  EXPECT_THAT(pull("PullInstancesWithPath", context, 1), StartsWith("<ERROR CODE=\"21\""));
}

TEST_F(Pulls, PathsComeInParts) {
  const std::string first = ask("OpenEnumerateInstancePaths", open_parameters(2));
  EXPECT_THAT(first, StartsWith("<IRETURNVALUE>" + path("one") + path("two") + "</IRETURNVALUE>"));
  const std::string context = context_of(first);
  EXPECT_THAT(pull("PullInstancesWithPath", context, 1), StartsWith("<ERROR CODE=\"21\""));
  const std::string last = pull("PullInstancePaths", context, 2);
  EXPECT_EQ(count(last, "<INSTANCEPATH>"), 2u);
  EXPECT_EQ(context_of(last), "");
}

TEST_F(Pulls, AShortEnumerationEndsAtOnce) {
  const std::string all = ask("OpenEnumerateInstances", open_parameters(4));
  EXPECT_EQ(count(all, "<VALUE.INSTANCEWITHPATH>"), 4u);
  EXPECT_EQ(context_of(all), "");
}

TEST_F(Pulls, AssociationsAndReferences) {
  const std::string one = widget_parameter("InstanceName", "one");
  const std::string both = number("MaxObjectCount", 1);
  EXPECT_THAT(ask("OpenAssociatorInstancePaths", one + both),
              StartsWith("<IRETURNVALUE>" + path("two") + "</IRETURNVALUE>"));
  EXPECT_THAT(
      ask("OpenAssociatorInstances", one + class_parameter("AssocClass", "TEST_Link") + both),
      StartsWith("<IRETURNVALUE><VALUE.INSTANCEWITHPATH>" + path("two") + "<INSTANCE"));
  EXPECT_THAT(ask("OpenReferenceInstances", one + both),
              HasSubstr("</INSTANCEPATH><INSTANCE CLASSNAME=\"TEST_Link\"></INSTANCE>"));
  EXPECT_THAT(ask("OpenReferenceInstancePaths", one + value_parameter("Role", "First") + both),
              HasSubstr("<INSTANCENAME CLASSNAME=\"TEST_Link\">"));
  const std::string opened = ask("OpenAssociatorInstancePaths", one);
  EXPECT_THAT(pull("PullInstancePaths", context_of(opened), 1),
              StartsWith("<IRETURNVALUE>" + path("two") + "</IRETURNVALUE>"));
}

TEST_F(Pulls, PropertyListsAndOriginsCount) {
  EXPECT_THAT(
      ask("OpenEnumerateInstances",
          open_parameters(1) + value_parameter("IncludeClassOrigin", "true") +
              "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>U8</VALUE></VALUE.ARRAY>"
              "</IPARAMVALUE>"),
      StartsWith("<IRETURNVALUE><VALUE.INSTANCEWITHPATH>" + path("one") +
                 "<INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY NAME=\"U8\" TYPE=\"uint8\" "
                 "CLASSORIGIN=\"TEST_Widget\"><VALUE>255</VALUE></PROPERTY></INSTANCE>"));
}

TEST_F(Pulls, ClosingEndsAnEnumeration) {
  const std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  EXPECT_EQ(ask("CloseEnumeration", value_parameter("EnumerationContext", context)), "");
  expect_error(21, "CloseEnumeration", value_parameter("EnumerationContext", context));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 1), StartsWith("<ERROR CODE=\"21\""));
}

TEST_F(Pulls, AnotherPrincipalCannotPull) {
  const std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  const std::string body = message(simple_intrinsic(
      "PullInstancesWithPath",
      value_parameter("EnumerationContext", context) + number("MaxObjectCount", 1)));
  Call call = call_of(body, "PullInstancesWithPath", "root/cimv2");
  call.principal = "mallory";
  EXPECT_THAT(answer(call).body, HasSubstr("<ERROR CODE=\"21\""));
  EXPECT_EQ(count(pull("PullInstancesWithPath", context, 4), "<VALUE.INSTANCEWITHPATH>"), 4u);
}

TEST_F(Pulls, WhatIsNotSupported) {
  const std::string open = open_parameters(1);
  expect_error(25, "OpenEnumerateInstances", open + value_parameter("FilterQuery", "x"));
  expect_error(25, "OpenEnumerateInstances", open + value_parameter("FilterQueryLanguage", "x"));
  expect_error(26, "OpenEnumerateInstances", open + value_parameter("ContinueOnError", "true"));
  expect_error(22, "OpenEnumerateInstances", open + number("OperationTimeout", 0));
  expect_error(22, "OpenEnumerateInstances", open + number("OperationTimeout", 91));
  EXPECT_THAT(ask("OpenEnumerateInstances", open + number("OperationTimeout", 90) +
                                                value_parameter("ContinueOnError", "false")),
              StartsWith("<IRETURNVALUE>"));
  expect_error(4, "OpenEnumerateInstances",
               class_parameter("ClassName", "TEST_Widget") + number("MaxObjectCount", -1));
  expect_error(4, "PullInstancesWithPath", value_parameter("EnumerationContext", "x"));
  expect_error(21, "PullInstancesWithPath",
               value_parameter("EnumerationContext", "x") + number("MaxObjectCount", 1));
  expect_error(5, "OpenEnumerateInstances", class_parameter("ClassName", "TEST_None"));
}

// Every Open has the same limits; what is beyond them is refused before anything is asked.
TEST_F(Pulls, TimeoutsAndCountsHaveLimits) {
  const std::string widgets = class_parameter("ClassName", "TEST_Widget");
  const std::string one = widget_parameter("InstanceName", "one");
  const std::pair<std::string_view, const std::string&> opens[] = {
      {"OpenEnumerateInstances", widgets}, {"OpenEnumerateInstancePaths", widgets},
      {"OpenAssociatorInstances", one},    {"OpenAssociatorInstancePaths", one},
      {"OpenReferenceInstances", one},     {"OpenReferenceInstancePaths", one}};
  const int longest = static_cast<int>(Limits().context_seconds);
  for (const auto& [operation, object] : opens) {
    for (const int seconds : {1, longest - 1, longest})
      EXPECT_NE(context_of(ask(operation, object + number("OperationTimeout", seconds))), "");
    for (const int seconds : {0, longest + 1})
      expect_error(22, operation, object + number("OperationTimeout", seconds));
    expect_error(4, operation, object + number("OperationTimeout", -1));
    expect_error(4, operation, object + value_parameter("OperationTimeout", "4294967296"));
    expect_error(4, operation, object + value_parameter("MaxObjectCount", "4294967296"));
    expect_error(25, operation, object + value_parameter("FilterQueryLanguage", "DMTF:FQL"));
    expect_error(25, operation, object + value_parameter("FilterQuery", ""));
    expect_error(26, operation, object + value_parameter("ContinueOnError", "true"));
    EXPECT_EQ(context_of(ask(operation, object + value_parameter("MaxObjectCount", "4294967295"))),
              "");
  }
}

TEST_F(Pulls, PulledCountsHaveLimits) {
  const std::pair<std::string_view, std::string_view> pulls[] = {
      {"OpenEnumerateInstances", "PullInstancesWithPath"},
      {"OpenEnumerateInstancePaths", "PullInstancePaths"}};
  for (const auto& [open, pull] : pulls) {
    const std::string context = context_of(ask(open, open_parameters(0)));
    const std::string parameter = value_parameter("EnumerationContext", context);
    for (const std::string_view count : {"-1", "4294967296", ""})
      expect_error(4, pull, parameter + value_parameter("MaxObjectCount", count));
    expect_error(4, pull, parameter);
    EXPECT_EQ(context_of(ask(pull, parameter + value_parameter("MaxObjectCount", "4294967295"))),
              "");
  }
}

class FewPulls : public Pulls {
 protected:
  FewPulls() : Pulls({.contexts = 2, .maximum_pull = 2}) {}
};

TEST_F(FewPulls, OpenEnumerationsHaveALimit) {
  const std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  expect_error(27, "OpenEnumerateInstances", open_parameters(0));
  pull("PullInstancesWithPath", context, 2);
  expect_error(27, "OpenEnumerateInstances", open_parameters(0));
  pull("PullInstancesWithPath", context, 2);
  EXPECT_NE(context_of(ask("OpenEnumerateInstances", open_parameters(0))), "");
}

// A client that wants more gets the limit's number and has to pull again.
TEST_F(FewPulls, OnePullHasALimit) {
  for (const auto& [wanted, given] : {std::pair(1, 1), {2, 2}, {3, 2}, {1'000'000, 2}}) {
    const std::string first = ask("OpenEnumerateInstances", open_parameters(wanted));
    EXPECT_EQ(count(first, "<VALUE.INSTANCEWITHPATH>"), static_cast<std::size_t>(given));
    const std::string context = context_of(first);
    const std::string next = pull("PullInstancesWithPath", context, wanted);
    EXPECT_EQ(count(next, "<VALUE.INSTANCEWITHPATH>"), static_cast<std::size_t>(given));
    if (context_of(next) != "")
      ask("CloseEnumeration", value_parameter("EnumerationContext", context));
  }
}

class SmallPulls : public Pulls {
 protected:
  SmallPulls() : Pulls({.context_bytes = 15'000}) {}
};

TEST_F(SmallPulls, OpenEnumerationsHoldSoMuchTogether) {
  const std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  ASSERT_NE(context, "");
  expect_error(27, "OpenEnumerateInstances", open_parameters(0));
  ask("CloseEnumeration", value_parameter("EnumerationContext", context));
  EXPECT_NE(context_of(ask("OpenEnumerateInstances", open_parameters(0))), "");
}

class UsersPulls : public Pulls {
 protected:
  UsersPulls() : UsersPulls({.contexts = 4, .contexts_of_one = 2}) {}
  explicit UsersPulls(const Limits& limits) : Pulls(limits) {}

  std::string open_as(const std::string& user) {
    const std::string body =
        message(simple_intrinsic("OpenEnumerateInstances", open_parameters(0)));
    Call call = call_of(body, "OpenEnumerateInstances", "root/cimv2");
    call.principal = user;
    return content(answer(call), "IMETHODRESPONSE", "OpenEnumerateInstances");
  }
};

TEST_F(UsersPulls, OneUserLeavesEnumerationsForOthers) {
  EXPECT_NE(context_of(open_as("one")), "");
  EXPECT_NE(context_of(open_as("one")), "");
  EXPECT_THAT(open_as("one"), StartsWith("<ERROR CODE=\"27\""));
  EXPECT_NE(context_of(open_as("two")), "");
  EXPECT_NE(context_of(open_as("two")), "");
  EXPECT_THAT(open_as("three"), StartsWith("<ERROR CODE=\"27\""));  // the common limit
}

class UsersSmallPulls : public UsersPulls {
 protected:
  UsersSmallPulls() : UsersPulls({.context_bytes_of_one = 15'000}) {}
};

TEST_F(UsersSmallPulls, OneUserLeavesMemoryForOthers) {
  EXPECT_NE(context_of(open_as("one")), "");
  EXPECT_THAT(open_as("one"), StartsWith("<ERROR CODE=\"27\""));
  EXPECT_NE(context_of(open_as("two")), "");
}

TEST(Budgets, CountWhatIsBeingGathered) {
  Budget budget({10, 100}, {10, 60});
  Room first(budget, "one");
  first.grow_to(60);
  EXPECT_THROW(first.grow_to(61), Error);
  Room second(budget, "two");
  second.grow_to(40);
  EXPECT_THROW(second.grow_to(41), Error);
  {
    const Room moved(std::move(first));
    EXPECT_THROW(second.grow_to(41), Error);
  }
  second.grow_to(60);
  EXPECT_THROW(second.grow_to(61), Error);
}

TEST(Budgets, TakeBackFromAUserWhatOneOfSeveralEnumerationsHeld) {
  Budget budget({10, 100}, {2, 60});
  const Room first(budget, "one");
  for (int i = 0; i < 2; ++i) {
    Room second(budget, "one");
    second.grow_to(60);
    EXPECT_THROW(Room(budget, "one"), Error);
  }
}

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST_F(Pulls, ExpireWhenNobodyPullsForTheAgreedTime) {
  const std::string context =
      context_of(ask("OpenEnumerateInstances", open_parameters(0) + number("OperationTimeout", 2)));
  for (int i = 0; i < 3; ++i) {
    let_pass(seconds(2) - milliseconds(1));
    EXPECT_THAT(pull("PullInstancesWithPath", context, 1), StartsWith("<IRETURNVALUE>"));
  }
  let_pass(seconds(2));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 1), StartsWith("<ERROR CODE=\"21\""));
}

TEST_F(Pulls, ExpireAfterTheLongestTimeWhereNoneIsAgreed) {
  const Limits limits;
  std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  let_pass(seconds(limits.context_seconds) - milliseconds(1));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<IRETURNVALUE>"));
  let_pass(seconds(limits.context_seconds));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<ERROR CODE=\"21\""));
}

TEST_F(Pulls, EndHoweverOftenTheyArePulled) {
  const Limits limits;
  const std::string context = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  const seconds step(limits.context_life_seconds / 15);
  for (int i = 0; i < 14; ++i) {
    let_pass(step);
    EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<IRETURNVALUE>")) << i;
  }
  let_pass(step - milliseconds(1));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<IRETURNVALUE>"));
  let_pass(milliseconds(1));
  EXPECT_THAT(pull("PullInstancesWithPath", context, 0), StartsWith("<ERROR CODE=\"21\""));
}

TEST_F(Pulls, OnesThatExpiredFreeTheirMemoryWithoutAnotherRequest) {
  context_of(ask("OpenEnumerateInstances", open_parameters(0) + number("OperationTimeout", 1)));
  context_of(ask("OpenEnumerateInstances", open_parameters(0) + number("OperationTimeout", 2)));
  const std::string last = context_of(ask("OpenEnumerateInstances", open_parameters(0)));
  let_pass(seconds(1) - milliseconds(1));
  EXPECT_EQ(service_.drop_expired(), 0u);
  let_pass(milliseconds(1));
  EXPECT_EQ(service_.drop_expired(), 1u);
  let_pass(seconds(1));
  EXPECT_EQ(service_.drop_expired(), 1u);
  EXPECT_THAT(pull("PullInstancesWithPath", last, 0), StartsWith("<IRETURNVALUE>"));
}

class OnePull : public Pulls {
 protected:
  OnePull() : Pulls({.contexts = 1}) {}
};

TEST_F(OnePull, GivesItsPlaceToAnotherWhenItExpires) {
  context_of(ask("OpenEnumerateInstances", open_parameters(0) + number("OperationTimeout", 1)));
  let_pass(seconds(1) - milliseconds(1));
  expect_error(27, "OpenEnumerateInstances", open_parameters(0));
  let_pass(milliseconds(1));
  EXPECT_NE(context_of(ask("OpenEnumerateInstances", open_parameters(0))), "");
}

}  // namespace
}  // namespace broker::cimxml
