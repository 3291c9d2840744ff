// How much memory requests take, each and together, and that they give it back.
#include <algorithm>
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
  if (!kMemoryIsTelling) GTEST_SKIP() << "under a sanitizer";
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

}  // namespace
}  // namespace broker::cimxml
