#include "broker/cimxml/decode.h"

#include <gtest/gtest.h>

#include "broker/cimxml/document.h"
#include "broker/test_classes.h"

namespace broker::cimxml {
namespace {

// The value of a key, whose element has these attributes and this text.
Value key(const std::string& attributes, const std::string& text) {
  Allowance allowance{10, 10};
  const Document document = parse_document(
      "<INSTANCENAME CLASSNAME=\"TEST_Widget\"><KEYBINDING NAME=\"Name\"><KEYVALUE " + attributes +
          ">" + text + "</KEYVALUE></KEYBINDING></INSTANCENAME>",
      allowance);
  const ObjectPath path = Decoder(generated_schema(), allowance).instance_name(document.root);
  return path.keys.front().value;
}

TEST(Decoder, NumbersAsKeysAreOfTheirTypeElseOfTheirForm) {
  const auto typed = [](const std::string& type, const std::string& text) {
    return key("VALUETYPE=\"numeric\" TYPE=\"" + type + "\"", text);
  };
  EXPECT_EQ(typed("uint8", " 5 "), Value(std::uint8_t{5}));
  EXPECT_EQ(typed("sint16", "5"), Value(std::int16_t{5}));
  EXPECT_EQ(typed("real32", "+5"), Value(5.0F));
  EXPECT_EQ(typed("string", "5"), Value(std::uint64_t{5}));
  EXPECT_THROW(typed("uint8", "256"), Error);
  EXPECT_EQ(key("VALUETYPE=\"numeric\"", "5"), Value(std::uint64_t{5}));
  EXPECT_EQ(key("VALUETYPE=\"numeric\"", "-5"), Value(std::int64_t{-5}));
  EXPECT_EQ(key("VALUETYPE=\"numeric\"", "5.0"), Value(5.0));
  EXPECT_EQ(key("VALUETYPE=\"numeric\"", "0xE"), Value(std::uint64_t{14}));
}

}  // namespace
}  // namespace broker::cimxml
