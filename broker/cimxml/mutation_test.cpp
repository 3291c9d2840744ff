// Damaged requests: each gets one whole reply, and the service goes on answering.
#include <algorithm>
#include <cctype>
#include <chrono>
#include <random>
#include <vector>

#include "broker/cimxml/document.h"
#include "broker/cimxml/http_error.h"
#include "broker/cimxml/memory_of_process.h"
#include "broker/cimxml/service_fixture.h"

namespace broker::cimxml {
namespace {

struct Good {
  std::string method, object, body;
};

std::vector<Good> good_requests() {
  const auto intrinsic = [](const char* name, const std::string& parameters) {
    return Good{name, "root/cimv2", message(simple_intrinsic(name, parameters))};
  };
  const std::string one = widget_parameter("InstanceName", "one");
  return {
      intrinsic("GetInstance", one + value_parameter("LocalOnly", "false")),
      intrinsic("EnumerateInstances", class_parameter("ClassName", "TEST_Widget")),
      intrinsic("CreateInstance",
                "<IPARAMVALUE NAME=\"NewInstance\"><INSTANCE CLASSNAME=\"TEST_Widget\"><PROPERTY "
                "NAME=\"Name\" TYPE=\"string\"><VALUE>new</VALUE></PROPERTY><PROPERTY.ARRAY "
                "NAME=\"Numbers\" TYPE=\"uint16\"><VALUE.ARRAY><VALUE>1</VALUE><VALUE.NULL/>"
                "</VALUE.ARRAY></PROPERTY.ARRAY><PROPERTY NAME=\"Inner\" TYPE=\"string\" "
                "EmbeddedObject=\"instance\"><VALUE><![CDATA[<INSTANCE CLASSNAME=\"TEST_Widget\"/>"
                "]]></VALUE></PROPERTY></INSTANCE></IPARAMVALUE>"),
      intrinsic("DeleteInstance", widget_parameter("InstanceName", "new")),
      intrinsic("Associators", widget_parameter("ObjectName", "one")),
      intrinsic("OpenEnumerateInstances", class_parameter("ClassName", "TEST_Widget") +
                                              value_parameter("MaxObjectCount", "1")),
      intrinsic("GetClass", class_parameter("ClassName", "TEST_Widget")),
      {"Add", "root/cimv2:TEST_Widget.Name=\"one\"",
       message(simple_method("Add",
                             "<PARAMVALUE NAME=\"A\" PARAMTYPE=\"uint32\"><VALUE>4</VALUE>"
                             "</PARAMVALUE>",
                             widget_name("one")))},
  };
}

class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed) {}

  std::string mutate(std::string body) {
    for (std::size_t changes = 1 + below(2); changes != 0 && !body.empty(); --changes) {
      const std::size_t at = below(body.size());
      switch (below(8)) {
        case 0:
          body[at] = static_cast<char>(below(256));
          break;
        case 1:
          body.erase(at, below(20) + 1);
          break;
        case 2:
          body.insert(at, piece());
          break;
        case 3:
          body.insert(at, body.substr(below(body.size()), below(60)));
          break;
        case 4:
        case 5:
          replace_word(body, at);
          break;
        default:
          repeat_or_drop_element(body, at);
      }
    }
    return body;
  }

 private:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random_);
  }

  std::string_view piece() {
    static constexpr std::string_view kPieces[] = {"<VALUE>",
                                                   "</VALUE>",
                                                   "<VALUE.NULL/>",
                                                   "&#0;",
                                                   "&lt;",
                                                   "]]>",
                                                   "<![CDATA[",
                                                   "\"",
                                                   "<",
                                                   ">",
                                                   "\xC3\xA4",
                                                   "\xFF",
                                                   "-1",
                                                   "99999999999999999999",
                                                   "<!--",
                                                   "<?x?>",
                                                   "INSTANCE",
                                                   "reference",
                                                   "NaN",
                                                   "root",
                                                   "TEST_Link",
                                                   "<INSTANCE CLASSNAME=\"TEST_Link\"/>",
                                                   "real64",
                                                   "",
                                                   "true",
                                                   "VALUE.ARRAY"};
    return kPieces[below(std::size(kPieces))];
  }

  // Replaces a name or a value by another one.
  void replace_word(std::string& body, std::size_t at) {
    const auto word = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; };
    std::size_t begin = at, end = at;
    while (begin > 0 && word(body[begin - 1])) --begin;
    while (end < body.size() && word(body[end])) ++end;
    body.replace(begin, end - begin, piece());
  }

  void repeat_or_drop_element(std::string& body, std::size_t at) {
    const std::size_t begin = body.rfind('<', at);
    if (begin == std::string::npos || begin + 1 == body.size() || body[begin + 1] == '/') return;
    const std::string name = body.substr(begin + 1, body.find_first_of(" />", begin) - begin - 1);
    std::size_t end = body.find("</" + name + ">", begin);
    end = end == std::string::npos ? body.find('>', begin) + 1 : end + name.size() + 3;
    if (end == 0) return;
    const std::string element = body.substr(begin, end - begin);
    if (below(2) == 0) {
      body.insert(begin, element);
    } else {
      body.erase(begin, element.size());
    }
  }

  std::mt19937 random_;
};

class Mutations : public ServiceTest {
 protected:
  // Enumerations that mutated requests have opened and nobody pulls.
  Mutations() : ServiceTest({.contexts = 10, .context_seconds = 1}) {}

  bool can_open_all() {
    std::vector<std::string> opened;
    for (int i = 0; i < 10; ++i) {
      opened.push_back(ask("OpenEnumerateInstances", class_parameter("ClassName", "TEST_Widget")));
    }
    return std::all_of(opened.begin(), opened.end(), [](const std::string& answer) {
      return answer.starts_with("<IRETURNVALUE>");
    });
  }
};

TEST_F(Mutations, NeverStopTheService) {
  const std::vector<Good> requests = good_requests();
  Mutator mutator(20240131);  // the same run each time
  std::size_t refused = 0, answered = 0;
  std::size_t resident = 0;
  for (int i = 0; i < 10'000; ++i) {
    if (i == 2'000) resident = resident_bytes();  // what is made only once is there by now
    const Good& good = requests[static_cast<std::size_t>(i) % requests.size()];
    const std::string body = mutator.mutate(good.body);
    const Recorder reply = answer(call_of(body, good.method, good.object));
    let_pass(std::chrono::milliseconds(1));
    ASSERT_FALSE(reply.abandoned) << body;
    if (reply.status == 200) {
      ++answered;
      ASSERT_TRUE(reply.body.ends_with("</CIM>\n")) << body;
      Allowance allowance{64, 100'000};
      ASSERT_NO_THROW(parse_document(reply.body, allowance)) << body << "\n" << reply.body;
    } else {
      ++refused;
      ASSERT_TRUE(reply.status == 400 || reply.status == 415 || reply.status == 501)
          << reply.status << " " << body;
    }
  }
  EXPECT_GT(refused, 1000u);
  EXPECT_GT(answered, 500u);
  EXPECT_TRUE(!kMemoryIsTelling || resident_bytes() < resident + (4 << 20)) << resident_bytes();
  let_pass(std::chrono::seconds(1));
  EXPECT_TRUE(can_open_all());
  for (const Good& good : requests) {
    EXPECT_EQ(answer(call_of(good.body, good.method, good.object)).status, 200);
  }
}

}  // namespace
}  // namespace broker::cimxml
