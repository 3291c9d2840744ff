// Requests of many threads at once; the thread sanitizer build looks at what happens here.
#include <atomic>
#include <thread>
#include <vector>

#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

class ServiceThreads : public ServiceTest {
 protected:
  std::string context_of(const std::string& answer) {
    constexpr std::string_view before = "PARAMTYPE=\"string\"><VALUE>";
    const std::size_t at = answer.find(before);
    return at == std::string::npos ? std::string() : answer.substr(at + before.size(), 32);
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

}  // namespace
}  // namespace broker::cimxml
