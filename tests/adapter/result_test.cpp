// Object managers that accept only one kind of result for each operation, that are wrong about
// times and the ends of arrays, and that keep references as text of limited length.
#include <algorithm>
#include <string>

#include "tests/adapter/adapter_test.h"

namespace ovk_cimple {
namespace {

using broker::Tables;

class Results : public AdapterTest {
 protected:
  void restart_with(std::function<void(Tables&)> more) {
    restart(combined(GetParam(), std::move(more)));
  }
  static Ref<TEST_Link> link(const std::string& device_name) {
    auto result = make<TEST_Link>();
    result->Device = device(device_name.c_str(), 1);
    result->Owner = owner("me");
    result->Weight = 3;
    return result;
  }
};
INSTANTIATE_TEST_SUITE_P(Habits, Results, testing::ValuesIn(all_habits()),
                         [](const auto& info) { return info.param.name; });

CMPIStatus refuse() { return {CMPI_RC_ERR_NOT_SUPPORTED, nullptr}; }

TEST_P(Results, MethodsReturnDataAlone) {
  restart_with([](Tables& tables) {
    tables.result.returnInstance = [](auto...) { return refuse(); };
    tables.result.returnObjectPath = [](auto...) { return refuse(); };
  });
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    call.Job = owner("job");
    call.return_value = 5;
    return OK;
  };
  const auto result = manager().invoke_method(device_path("sda", 1), "Probe");
  EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{5}));
  ASSERT_TRUE(result.find("Job"));
  EXPECT_EQ(result.find("Job")->as_path(), owner_path("job"));
}

TEST_P(Results, InstancesAndPathsAreReturnedAsSuchAlone) {
  publish({device("sda", 1)});
  restart_with([](Tables& tables) {
    tables.result.returnData = [](auto...) { return refuse(); };
    tables.result.returnObjectPath = [](auto...) { return refuse(); };
  });
  EXPECT_EQ(manager().enumerate_instances("TEST_Device").size(), 1u);
  EXPECT_EQ(manager().get_instance(device_path("sda", 1)).path, device_path("sda", 1));
  restart_with([](Tables& tables) {
    tables.result.returnData = [](auto...) { return refuse(); };
    tables.result.returnInstance = [](auto...) { return refuse(); };
  });
  EXPECT_EQ(manager().enumerate_instance_names("TEST_Device").size(), 1u);
}

// Some object managers read the binary form of a time wrongly, by the time zone of the process.
TEST_P(Results, TimesTravelAsText) {
  restart_with([](Tables& tables) {
    tables.factories.newDateTime = nullptr;
    tables.factories.newDateTimeFromBinary = nullptr;
    tables.date_time.getBinaryFormat = nullptr;
  });
  constexpr char kWhen[] = "20240131120000.000000+060";
  method_hooks().probe = [&](const TEST_Device*, TEST_Device_Probe_method& call) {
    EXPECT_EQ(call.When.value().to_string(), kWhen);
    call.return_value = 1;
    return OK;
  };
  const auto result = manager().invoke_method(device_path("sda", 1), "Probe",
                                              {{"When", broker::Value::datetime(kWhen)}});
  EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{1}));
  auto published = device("sda", 1);
  published->Since = *Datetime::parse(kWhen);
  publish({published});
  const auto instances = manager().enumerate_instances("TEST_Device");
  ASSERT_EQ(instances.size(), 1u);
  EXPECT_EQ(instances[0].text("Since"), kWhen);
}

// Some object managers do not refuse to read one element past an array's end.
TEST_P(Results, NothingIsAskedOfAnArrayPastItsEnd) {
  static int asked;
  asked = 0;
  restart_with([](Tables& tables) {
    static const auto element = tables.array.getElementAt;
    tables.array.getElementAt = [](const CMPIArray* array, CMPICount index, CMPIStatus* rc) {
      EXPECT_LT(index, array->ft->getSize(array, nullptr));
      ++asked;
      return element(array, index, rc);
    };
  });
  method_hooks().probe = [](const TEST_Device*, TEST_Device_Probe_method& call) {
    EXPECT_EQ(call.Texts.value(), (Array<String>{"a", "b"}));
    call.return_value = 1;
    return OK;
  };
  const auto texts = broker::Value::array(broker::Type::String, {"a", "b"});
  const auto result = manager().invoke_method(device_path("sda", 1), "Probe", {{"Texts", texts}});
  EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{1}));
  EXPECT_EQ(asked, 2);
}

// Some object managers do not check whether a reference fits their buffer. This one notes the
// longest text of a reference.
constexpr std::size_t kBufferSize = 4096;
std::size_t longest_text;

void write(const CMPIValue* value, CMPIType type) {
  if (type != CMPI_ref || !value || !value->ref) return;
  CMPIStatus status{};
  const CMPIObjectPathFT& functions = *value->ref->ft;
  const auto text_of = [](const CMPIString* string) -> std::string {
    return string ? string->ft->getCharPtr(string, nullptr) : "";
  };
  std::string text = text_of(functions.getNameSpace(value->ref, &status)) + ":" +
                     text_of(functions.getClassName(value->ref, &status));
  for (CMPICount i = 0; i < functions.getKeyCount(value->ref, &status); ++i) {
    CMPIString* name = nullptr;
    const CMPIData key = functions.getKeyAt(value->ref, i, &name, &status);
    text += "," + text_of(name) + "=";
    if (key.type != CMPI_string) continue;
    text += '"';
    for (const char c : text_of(key.value.string)) {
      if (c == '"' || c == '\\') text += '\\';
      text += c;
    }
    text += '"';
  }
  longest_text = std::max(longest_text, text.size());
}

void write_references(Tables& tables) {
  static const auto set_property = tables.instance.setProperty;
  static const auto add_argument = tables.args.addArg;
  static const auto add_key = tables.object_path.addKey;
  tables.instance.setProperty = [](const CMPIInstance* instance, const char* name,
                                   const CMPIValue* value, CMPIType type) {
    write(value, type);
    return set_property(instance, name, value, type);
  };
  tables.args.addArg = [](const CMPIArgs* args, const char* name, const CMPIValue* value,
                          CMPIType type) {
    write(value, type);
    return add_argument(args, name, value, type);
  };
  tables.object_path.addKey = [](const CMPIObjectPath* path, const char* name,
                                 const CMPIValue* value, CMPIType type) {
    write(value, type);
    return add_key(path, name, value, type);
  };
}

TEST_P(Results, ReferencesThatFitABufferForTextLeave) {
  longest_text = 0;
  restart_with(write_references);
  const std::string name = std::string(1000, 'x') + std::string(1000, '"');
  hooks<TEST_Link>().enum_instances = [&](const TEST_Link*, EnumHandler<TEST_Link>* handler) {
    handler->handle(link(name));
    return OK;
  };
  const auto links = manager().enumerate_instances("TEST_Link");
  ASSERT_EQ(links.size(), 1u);
  EXPECT_EQ(links[0].property("Device")->as_path(), device_path(name.c_str(), 1));
  EXPECT_GT(longest_text, 3000u);
  EXPECT_LT(longest_text, kBufferSize);
}

TEST_P(Results, LongerReferencesAreNull) {
  longest_text = 0;
  restart_with(write_references);
  // The second ones are short, but their text is long.
  for (const std::string& name :
       {std::string(5000, 'x'), std::string(2500, '"'), std::string(1500, '\x01')}) {
    method_hooks().probe = [&](const TEST_Device*, TEST_Device_Probe_method& call) {
      call.Job = owner(name.c_str());
      call.return_value = 1;
      return OK;
    };
    const auto result = manager().invoke_method(device_path("sda", 1), "Probe");
    EXPECT_FALSE(result.find("Job"));
    EXPECT_EQ(result.return_value, broker::Value(std::uint32_t{1}));
  }
  EXPECT_LT(longest_text, kBufferSize);
}

}  // namespace
}  // namespace ovk_cimple
