// How much requests may take, each and together, and that it is given back.
#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "broker/cimxml/memory_of_process.h"
#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

constexpr std::size_t kMegabyte = 1 << 20;

std::string repeated(std::string_view text, std::size_t times) {
  std::string result;
  result.reserve(text.size() * times);
  for (std::size_t i = 0; i < times; ++i) result += text;
  return result;
}

// An enumeration with a property list of so many elements.
std::string enumeration_with(const std::string& list) {
  return message(simple_intrinsic("EnumerateInstanceNames",
                                  class_parameter("ClassName", "TEST_Widget") +
                                      "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY>" + list +
                                      "</VALUE.ARRAY></IPARAMVALUE>"));
}
// CIM, MESSAGE, SIMPLEREQ, IMETHODCALL, LOCALNAMESPACEPATH and two NAMESPACE, two IPARAMVALUE,
// CLASSNAME, VALUE.ARRAY.
constexpr std::size_t kElementsAround = 11;

class RequestLimits : public ServiceTest {
 protected:
  explicit RequestLimits(const Limits& limits = {}) : ServiceTest(limits) {}

  Recorder send(std::string_view body) {
    return answer(call_of(body, "EnumerateInstanceNames", "root/cimv2"));
  }
};

TEST_F(RequestLimits, ElementsHaveALimit) {
  const std::size_t most = Limits().elements - kElementsAround;
  EXPECT_EQ(send(enumeration_with(repeated("<VALUE/>", most))).status, 200);
  EXPECT_EQ(send(enumeration_with(repeated("<VALUE/>", most + 1))).status, 413);
  EXPECT_EQ(send(enumeration_with(repeated("<unknown/>", most + 1))).status, 413);
}

class FewElements : public RequestLimits {
 protected:
  FewElements() : RequestLimits({.elements = 24}) {}

  // With the ten elements of the message around it.
  std::string create(std::size_t properties) {
    return ask("CreateInstance",
               "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY "
               "NAME=\"Inner\" TYPE=\"string\" EmbeddedObject=\"instance\"><VALUE><![CDATA["
               "<INSTANCE CLASSNAME=\"TEST_Widget\">" +
                   repeated("<x/>", properties) +
                   "</INSTANCE>]]></VALUE></PROPERTY></INSTANCE></IPARAMVALUE>");
  }
};

TEST_F(FewElements, ThoseOfEmbeddedInstancesCount) {
  const std::size_t around = 7 + 4;  // of the call, and from IPARAMVALUE to VALUE
  EXPECT_THAT(create(24 - around - 1), testing::StartsWith("<IRETURNVALUE>"));
  EXPECT_THAT(create(24 - around), testing::StartsWith("<ERROR CODE=\"4\""));
}

// Elements make a tree and values many times as large as their text.
TEST_F(RequestLimits, LargeRequestsTakeLittleAndGiveItBack) {
  if (!memory_is_telling) GTEST_SKIP() << "under a sanitizer";
  const std::size_t most = Limits().elements - kElementsAround;
  const std::string text(100, 'x');
  const std::string many = enumeration_with(repeated("<VALUE>" + text + "</VALUE>", most));
  const std::string more = enumeration_with(repeated("<VALUE/>", 2 * kMegabyte));
  send(enumeration_with(""));
  const std::size_t before = resident_bytes();
  std::size_t peak = 0;
  reset_peak();
  for (const std::string* body : {&many, &more}) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { send(*body); });
    for (std::thread& thread : threads) thread.join();
    peak = std::max(peak, peak_bytes());
  }
  RecordProperty("peak_MB", static_cast<int>((peak - before) / kMegabyte));
  EXPECT_LT(resident_bytes(), before + 16 * kMegabyte);
  EXPECT_LT(peak, before + 150 * kMegabyte);
}

// A reply that waits while another request comes.
struct Waiting : Recorder {
  std::mutex mutex;
  std::condition_variable changed;
  bool begun = false, go_on = false;

  void begin(int http_status, const Headers& fields) override {
    Recorder::begin(http_status, fields);
    std::unique_lock lock(mutex);
    begun = true;
    changed.notify_all();
    changed.wait(lock, [this] { return go_on; });
  }
};

class FewLargeBodies : public RequestLimits {
 protected:
  FewLargeBodies() : RequestLimits({.large_bodies = 3 * large_body}) {}

  static std::string of_size(std::size_t size) {
    const std::string text = enumeration_with("");
    return text + std::string(size - text.size(), ' ');
  }
};

TEST_F(FewLargeBodies, AreAnsweredAtATime) {
  const std::string first = of_size(2 * large_body);
  Waiting waiting;
  std::thread thread(
      [&] { service.answer(call_of(first, "EnumerateInstanceNames", "root/cimv2"), waiting); });
  {
    std::unique_lock lock(waiting.mutex);
    waiting.changed.wait(lock, [&] { return waiting.begun; });
  }
  EXPECT_EQ(send(of_size(large_body)).status, 200);  // just what is left
  Recorder refused = send(of_size(large_body + 1));
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.headers["Retry-After"], "1");
  EXPECT_EQ(send(of_size(large_body - 1)).status, 200);  // is not large
  {
    const std::lock_guard lock(waiting.mutex);
    waiting.go_on = true;
    waiting.changed.notify_all();
  }
  thread.join();
  EXPECT_EQ(waiting.status, 200);
  EXPECT_EQ(send(of_size(large_body + 1)).status, 200);
  EXPECT_EQ(send(of_size(4 * large_body)).status, 200);  // alone, it is taken
}

}  // namespace
}  // namespace broker::cimxml
