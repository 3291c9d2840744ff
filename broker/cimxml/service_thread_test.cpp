// Requests of many threads at once; the thread sanitizer build looks at what happens here.
#include <atomic>
#include <thread>
#include <vector>

#include "broker/cimxml/service_fixture.h"
#include "broker/held_calls.h"

namespace broker::cimxml {
namespace {

class ServiceThreads : public ServiceTest {
 protected:
  std::string context_of(const std::string& answer) {
    constexpr std::string_view kBefore = "PARAMTYPE=\"string\"><VALUE>";
    const std::size_t at = answer.find(kBefore);
    return at == std::string::npos ? std::string() : answer.substr(at + kBefore.size(), 32);
  }
};

TEST_F(ServiceThreads, AnswerRequestsOfAllKindsTogether) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this] {
      for (int round = 0; round < 20; ++round) {
        const std::string widgets = class_parameter("ClassName", "TEST_Widget");
        EXPECT_EQ(count(ask("EnumerateInstances", widgets), "<INSTANCENAME "), 8u);
        const std::string opened =
            ask("OpenEnumerateInstancePaths", widgets + value_parameter("MaxObjectCount", "1"));
        const std::string pulled =
            ask("PullInstancePaths", value_parameter("EnumerationContext", context_of(opened)) +
                                         value_parameter("MaxObjectCount", "9"));
        EXPECT_EQ(count(pulled, "<INSTANCEPATH>"), 3u);
        EXPECT_THAT(invoke("Add", ""), testing::StartsWith("<RETURNVALUE"));
        EXPECT_THAT(ask("GetClass", class_parameter("ClassName", "TEST_Base")),
                    testing::StartsWith("<IRETURNVALUE><CLASS"));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST_F(ServiceThreads, AnEnumerationIsPulledByOneAtATime) {
  const std::string context =
      context_of(ask("OpenEnumerateInstancePaths", class_parameter("ClassName", "TEST_Widget")));
  std::atomic<std::size_t> objects{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      objects += count(ask("PullInstancePaths", value_parameter("EnumerationContext", context) +
                                                    value_parameter("MaxObjectCount", "1")),
                       "<INSTANCEPATH>");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(objects, 4u);
}

// A client that goes away while its request waits.
struct Leaver : Recorder {
  bool client_has_gone() const override { return true; }
};

struct HeldMethods : ServiceTest {
  HeldMethods() : ServiceTest({}, HeldCalls::options()) {}
  HeldCalls held;
};

TEST_F(HeldMethods, ARequestThatWaitsIsDroppedWhenItsClientHasGone) {
  const std::string what = "<PARAMVALUE NAME=\"What\"><VALUE>get missing</VALUE></PARAMVALUE>";
  std::thread first([&] { EXPECT_THAT(invoke("Do", what), testing::HasSubstr("error 0")); });
  HeldCalls::wait_for_one();
  Leaver leaver;
  const std::string body = message(simple_method("Do", what, widget_name("two")));
  service_.answer(call_of(body, "Do", "root/cimv2:TEST_Widget.Name=\"two\""), leaver);
  EXPECT_THAT(leaver.body, testing::HasSubstr("<ERROR CODE=\"1\" DESCRIPTION=\"Do for two was "
                                              "not begun: its client has gone\"/>"));
  HeldCalls::let_go();
  first.join();
  EXPECT_EQ(HeldCalls::begun(), 1);
}

}  // namespace
}  // namespace broker::cimxml
