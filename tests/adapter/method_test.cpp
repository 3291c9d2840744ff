#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Status;
using broker::Value;

class Methods : public AdapterTest {
 protected:
  broker::MethodResult probe(const std::vector<broker::Argument>& in = {},
                             const char* name = "Probe") {
    return manager().invoke_method(device_path("sda", 1), name, in);
  }
};
INSTANTIATE_TEST_SUITE_P(Habits, Methods, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

TEST_P(Methods, ParametersArriveAndReturn) {
  method_hooks().probe = [](const TEST_Device* self, TEST_Device_Probe_method& call) {
    EXPECT_EQ(self->Name.value(), "sda");
    EXPECT_EQ(self->Number.value(), 1);
    EXPECT_TRUE(call.Hard.value());
    EXPECT_EQ(call.Small.value(), 200);
    EXPECT_EQ(call.Text.value(), "caf\xC3\xA9");
    EXPECT_EQ(call.When.value().to_string(), "00000001000000.000000:000");
    EXPECT_EQ(call.Texts.value(), (Array<String>{"a", "", "c"}));
    const auto* const target = cast<TEST_Owner>(call.Target.value().get());
    EXPECT_TRUE(target && target->Name.value() == "me");
    call.Both = static_cast<uint16>(call.Both.value() + 1);
    call.Note = "bad \x01 note";
    call.Job = owner("job");
    call.return_value = 42;
    return OK;
  };
  const auto result = probe(
      {{"hard", true},
       {"SMALL", std::uint8_t{200}},
       {"Text", "caf\xC3\xA9"},
       {"When", Value::datetime("00000001000000.000000:000")},
       {"Texts", Value::array(broker::Type::String, {"a", Value::null(broker::Type::String), "c"})},
       {"Target", owner_path("me")},
       {"Both", std::uint16_t{7}}},
      "pROBE");
  EXPECT_EQ(result.return_value, Value(std::uint32_t{42}));
  ASSERT_TRUE(result.find("Both") && result.find("Note") && result.find("Job"));
  EXPECT_EQ(*result.find("Both"), Value(std::uint16_t{8}));
  EXPECT_EQ(result.find("Note")->as_text(), "bad \xEF\xBF\xBD note");
  EXPECT_EQ(result.find("Job")->as_path(), owner_path("job"));
}

TEST_P(Methods, MissingParametersArriveAsNullAndNullOnesDoNotReturn) {
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    EXPECT_TRUE(call.Hard.null() && call.Small.null() && call.Text.null() && call.When.null());
    EXPECT_TRUE(call.Texts.null() && call.Target.null() && call.Both.null());
    return OK;
  };
  const auto result = probe();
  EXPECT_TRUE(result.out.empty());
  // Delivered as zero on purpose: a reply without return value breaks a common client.
  EXPECT_EQ(result.return_value, Value(std::uint32_t{0}));
}

TEST_P(Methods, NullReferencesAreLeftOutOfAnArray) {
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    call.Jobs = Array<Ref<Instance>>{owner("one"), Ref<Instance>(), owner("two")};
    return OK;
  };
  const auto result = probe();
  ASSERT_TRUE(result.find("Jobs"));
  EXPECT_EQ(*result.find("Jobs"),
            Value::array(broker::Type::Reference, {owner_path("one"), owner_path("two")}));
}

TEST_P(Methods, ANullReferenceArrivesAsNull) {
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    EXPECT_TRUE(call.Target.null());
    call.return_value = 1;
    return OK;
  };
  EXPECT_EQ(probe({{"Target", Value::null(broker::Type::Reference)}}).return_value,
            Value(std::uint32_t{1}));
}

TEST_P(Methods, AnArgumentOfTheWrongClassArrivesAsWhatItIs) {
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    call.return_value = cast<TEST_Owner>(call.Target.value().get()) ? 1 : 2;
    return OK;
  };
  EXPECT_EQ(probe({{"Target", device_path("sdb", 2)}}).return_value, Value(std::uint32_t{2}));
}

TEST_P(Methods, ReturnValuesOfEveryKind) {
  method_hooks().describe = [](const TEST_Device*, Property<String>& value) {
    value = "text\x02";
    return OK;
  };
  method_hooks().check = [](const TEST_Device*, Property<boolean>& value) {
    value = true;
    return OK;
  };
  EXPECT_EQ(probe({}, "Describe").return_value, Value("text\xEF\xBF\xBD"));
  EXPECT_EQ(probe({}, "Check").return_value, Value(true));
  method_hooks().describe = [](const TEST_Device*, Property<String>&) { return OK; };
  method_hooks().check = [](const TEST_Device*, Property<boolean>&) { return OK; };
  EXPECT_TRUE(probe({}, "Describe").return_value.is_null());
  EXPECT_TRUE(probe({}, "Check").return_value.is_null());
}

TEST_P(Methods, StatusCodesOfMethods) {
  EXPECT_EQ(failure_of([&] { probe(); }).status, Status::MethodNotAvailable);
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method&) { return sint32{-1}; };
  EXPECT_EQ(failure_of([&] { probe(); }).status, Status::MethodNotFound);
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method&) { return sint32{60}; };
  EXPECT_EQ(failure_of([&] { probe(); }).status, Status::Failed);
}

}  // namespace
}  // namespace ovk_cimple
