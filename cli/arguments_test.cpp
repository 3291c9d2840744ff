#include "cli/arguments.h"

#include <gmock/gmock.h>

#include "cli/failure.h"

namespace cli {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::vector<broker::Argument> parse(std::string_view class_name, std::string_view method,
                                    const std::vector<std::string>& texts) {
  const broker::ClassInfo& info = broker::generated_schema().get(class_name);
  return parse_arguments(info, *info.find_method(method), texts);
}

std::vector<broker::Argument> state_change(const std::vector<std::string>& texts) {
  return parse("KAVRO_HDDTest_ConcreteJob", "RequestStateChange", texts);
}

std::vector<broker::Argument> run(const std::vector<std::string>& texts) {
  return parse("KAVRO_HDDTest_DiagnosticService", "RunDiagnostic", texts);
}

TEST(ParseArguments, TakesTheTypesOfTheMethod) {
  const auto arguments =
      state_change({"requestedstate=2", "TimeoutPeriod=00000000000100.000000:000"});
  ASSERT_EQ(arguments.size(), 2u);
  EXPECT_EQ(arguments[0].name.view(), "RequestedState");
  EXPECT_EQ(arguments[0].value, broker::Value(std::uint16_t{2}));
  EXPECT_EQ(arguments[1].value, broker::Value::datetime("00000000000100.000000:000"));
}

TEST(ParseArguments, SeparatesAtTheFirstEqualsSign) {
  const auto arguments = run({"ManagedElement=KAVRO_DiskDrive.DeviceID=\"/dev/sda\""});
  ASSERT_EQ(arguments.size(), 1u);
  EXPECT_EQ(arguments[0].value.as_path().key("DeviceID")->as_text(), "/dev/sda");
}

// The class of the service has another name for a parameter than the standard's class.
TEST(ParseArguments, TakesParametersByTheNamesOfClassesAboveToo) {
  for (const std::string name : {"JobSettings", "jobsetting"}) {
    const auto arguments = run({name + "=KAVRO_HDDTest_JobSettingData.InstanceID=\"x\""});
    ASSERT_EQ(arguments.size(), 1u);
    EXPECT_TRUE(arguments[0].name == name);
    EXPECT_EQ(arguments[0].value.as_path().key("InstanceID")->as_text(), "x");
  }
}

TEST(ParseArguments, SaysWhatIsWrong) {
  const auto parse = [](const std::vector<std::string>& texts) {
    return [texts] { state_change(texts); };
  };
  EXPECT_THAT(
      parse({"RequestedState"}),
      ThrowsMessage<CommandFailure>("'RequestedState' is no argument of the form NAME=VALUE"));
  EXPECT_THAT(parse({"State=2"}), ThrowsMessage<CommandFailure>(HasSubstr(
                                      "has no parameter 'State'; it has RequestedState, ")));
  EXPECT_THAT(parse({"RequestedState=x"}),
              ThrowsMessage<CommandFailure>(HasSubstr("parameter RequestedState: ")));
  EXPECT_THAT(parse({"RequestedState=70000"}),
              ThrowsMessage<CommandFailure>(HasSubstr("parameter RequestedState: ")));
  EXPECT_THAT(parse({"RequestedState=2", "REQUESTEDSTATE=3"}),
              ThrowsMessage<CommandFailure>("parameter RequestedState is given twice"));
}

}  // namespace
}  // namespace cli
