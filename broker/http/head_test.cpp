#include "broker/http/head.h"

#include <gmock/gmock.h>

#include <map>

namespace broker::http {
namespace {

using Map = std::map<std::string, std::string>;

std::variant<Head, Refusal> read(const std::string& method, const std::string& path,
                                 const Map& map = {}) {
  return read_head(method, path, [&](const std::string& name) {
    const auto found = map.find(name);
    return found == map.end() ? std::nullopt : std::optional(found->second);
  });
}

// 0 when the request is one for the handler.
int refusal(const std::string& method, const std::string& path, const Map& map = {}) {
  const auto head = read(method, path, map);
  const Refusal* const refused = std::get_if<Refusal>(&head);
  return refused ? refused->status : 0;
}

TEST(Head, PathIsThatOfTheObjectManager) {
  EXPECT_EQ(refusal("POST", "/cimom"), 0);
  EXPECT_EQ(refusal("POST", "/"), 0);
  EXPECT_EQ(refusal("POST", "http://host:5988/cimom"), 0);
  EXPECT_EQ(refusal("POST", "HTTPS://host"), 0);
  EXPECT_EQ(refusal("POST", "http://host/cimom/x"), 404);
  EXPECT_EQ(refusal("POST", "/cimom/"), 404);
  EXPECT_EQ(refusal("POST", ""), 404);
}

TEST(Head, FieldsReachTheCall) {
  const auto head = std::get<Head>(read("POST", "/cimom",
                                        {{"CIMOperation", "MethodCall"},
                                         {"CIMMethod", "Run%44iagnostic"},
                                         {"CIMObject", "root%2fcimv2"},
                                         {"CIMBatch", ""},
                                         {"CIMProtocolVersion", "1.0"},
                                         {"Content-Type", "application/xml"},
                                         {"Accept-Language", "en"}}));
  EXPECT_EQ(head.call.operation, "MethodCall");
  EXPECT_EQ(head.call.method, "RunDiagnostic");
  EXPECT_EQ(head.call.object, "root/cimv2");
  EXPECT_EQ(head.call.batch, "");
  EXPECT_EQ(head.call.protocol_version, "1.0");
  EXPECT_EQ(head.call.content_type, "application/xml");
  EXPECT_EQ(head.call.accept_language, "en");
  const auto bare = std::get<Head>(read("POST", "/cimom"));
  EXPECT_EQ(bare.call.operation, std::nullopt);
  EXPECT_EQ(bare.call.object, std::nullopt);
}

TEST(Head, ManDeclaresThePrefix) {
  const std::string uri = "http://www.dmtf.org/cim/mapping/http/v1.0";
  const auto prefix = [](const std::string& man) {
    const auto head = read("M-POST", "/cimom", {{"Man", man}, {"07-CIMOperation", "MethodCall"}});
    const Head* const accepted = std::get_if<Head>(&head);
    return accepted ? accepted->prefix : "refused";
  };
  EXPECT_EQ(prefix(uri + " ; ns=73"), "73-");
  EXPECT_EQ(prefix(uri + ";ns=07"), "07-");
  EXPECT_EQ(prefix("\"" + uri + "\"; NS=123"), "123-");
  EXPECT_EQ(prefix(uri + ";ns=012345678"), "012345678-");
  EXPECT_EQ(prefix(uri + ";ns=89"), "89-");
  EXPECT_EQ(prefix(uri), "refused");
  EXPECT_EQ(prefix(uri + " ; ns=7"), "refused");
  EXPECT_EQ(prefix(uri + " ; ns=0123456789"), "refused");
  EXPECT_EQ(prefix(uri + " ; ns=ab"), "refused");
  EXPECT_EQ(prefix("http://other.example/ ; ns=73"), "refused");
  EXPECT_EQ(prefix(uri + " ; ns=73, http://other.example/ ; ns=11"), "refused");
  EXPECT_EQ(prefix(""), "refused");
  EXPECT_EQ(refusal("M-POST", "/cimom"), 510);
}

TEST(Head, PrefixIsTakenAwayFromFields) {
  const auto head = std::get<Head>(read("M-POST", "/cimom",
                                        {{"Man", "http://www.dmtf.org/cim/mapping/http/v1.0;ns=07"},
                                         {"07-CIMOperation", "MethodCall"},
                                         {"CIMMethod", "unprefixed"}}));
  EXPECT_EQ(head.call.operation, "MethodCall");
  EXPECT_EQ(head.call.method, std::nullopt);
}

TEST(Head, RepliesMustBeAcceptable) {
  const auto accept = [](const char* value) {
    return refusal("POST", "/cimom", {{"Accept", value}});
  };
  for (const char* good :
       {"", "*/*", "*; q=.2", "application/xml", "TEXT/XML", "text/*", "image/png, application/*",
        "text/html, image/gif, *; q=.2, */*; q=.2", "application/xml;q=0.001",
        "application/xml;q=0, text/xml", "image/png;q=0, */*"})
    EXPECT_EQ(accept(good), 0) << good;
  for (const char* bad : {"image/png", "text/html, application/json", "*/*;q=0", "*/*; Q=0.000",
                          "application/xml; q=0, text/xml;q=0, */*", "application/xmlx"})
    EXPECT_EQ(accept(bad), 406) << bad;
  const auto charset = [](const char* value) {
    return refusal("POST", "/cimom", {{"Accept-Charset", value}});
  };
  for (const char* good : {"", "utf-8", "iso-8859-1, UTF-8;q=0.1", "*"})
    EXPECT_EQ(charset(good), 0) << good;
  for (const char* bad : {"iso-8859-1", "utf-8;q=0, *", "utf-16"})
    EXPECT_EQ(charset(bad), 406) << bad;
}

TEST(Head, BodyMustNotBeEncoded) {
  EXPECT_EQ(refusal("POST", "/cimom", {{"Content-Encoding", "Identity"}}), 0);
  EXPECT_EQ(refusal("POST", "/cimom", {{"Content-Encoding", "gzip"}}), 415);
  EXPECT_EQ(refusal("POST", "/cimom", {{"Content-Encoding", "identity, gzip"}}), 415);
}

TEST(Head, AbsoluteTargetNamesAHost) {
  EXPECT_EQ(host_of("http://host:5988/cimom"), "host:5988");
  EXPECT_EQ(host_of("HTTPS://Host"), "Host");
  EXPECT_EQ(host_of("http://host?/x"), "host");
  EXPECT_EQ(host_of("http://a@b/"), "a@b");
  EXPECT_EQ(host_of("http:///cimom"), "");
  for (const char* const other : {"/cimom", "*", "", "http:/host/", "ftp://host/", "//host/"})
    EXPECT_EQ(host_of(other), std::nullopt) << other;
}

TEST(Head, FieldsThatCanSayOneThingStandOnce) {
  const auto twice = [](const char* first, const char* second) {
    return says_twice({{first, "a"}, {"Host", "x"}, {second, "a"}});
  };
  for (const char* const name : {"Authorization", "CIMMethod", "CIMObject", "73-CIMOperation",
                                 "CIMOther", "Content-Type", "Content-Encoding", "Man"})
    EXPECT_TRUE(twice(name, name)) << name;
  EXPECT_TRUE(twice("cimmethod", "CIMMETHOD"));
  EXPECT_FALSE(twice("CIMMethod", "CIMObject"));
  EXPECT_FALSE(twice("73-CIMMethod", "CIMMethod")) << "the request says which counts";
  for (const char* const name :
       {"Accept", "Accept-Language", "Cookie", "Connection", "X-CIMMethod"})
    EXPECT_FALSE(twice(name, name)) << name;
  EXPECT_FALSE(says_twice({}));
}

TEST(Head, RepliesToMPostCarryThePrefix) {
  const Headers headers = {{"Content-Type", "text/xml"}, {"CIMError", "request-not-valid"}};
  EXPECT_EQ(reply_headers(headers, ""), headers);
  EXPECT_THAT(reply_headers(headers, "07-"),
              testing::UnorderedElementsAre(
                  testing::Pair("Ext", " "), testing::Pair("Cache-Control", "no-cache"),
                  testing::Pair("Man", "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=07"),
                  testing::Pair("Content-Type", "text/xml"),
                  testing::Pair("07-CIMError", "request-not-valid")));
}

TEST(BasicCredentials, AreReadAsTheStandardHasThem) {
  const auto text = [](const std::string& authorization) {
    const auto credentials = basic_credentials(authorization);
    return credentials ? credentials->user + "|" + credentials->password : "none";
  };
  EXPECT_EQ(text("Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ=="), "Aladdin|open sesame");
  EXPECT_EQ(text("basic  YTpiOmM="), "a|b:c");
  EXPECT_EQ(text("Basic YTpi"), "a|b");
  EXPECT_EQ(text("Basic YTo="), "a|");
  EXPECT_EQ(text("Basic Og=="), "|");
  EXPECT_EQ(text("Basic YTpi    "), "a|b");
  EXPECT_EQ(text("Basic YWI="), "none");  // without a colon
  EXPECT_EQ(text("Basic YTo"), "none");   // without its padding
  EXPECT_EQ(text("Basic YTp="), "none");  // not as anybody encodes it
  EXPECT_EQ(text("Basic YTo=YTo="), "none");
  EXPECT_EQ(text("Basic Y"), "none");
  EXPECT_EQ(text("Basic YT*i"), "none");
  EXPECT_EQ(text("Basic"), "none");
  EXPECT_EQ(text("Digest YTpi"), "none");
  EXPECT_EQ(text(""), "none");
}

TEST(DecodeEscapes, LeavesWhatIsNone) {
  EXPECT_EQ(decode_escapes("root%2Fcimv2%3aA"), "root/cimv2:A");
  EXPECT_EQ(decode_escapes("%"), "%");
  EXPECT_EQ(decode_escapes("%4"), "%4");
  EXPECT_EQ(decode_escapes("%zz%4g%41"), "%zz%4gA");
}

}  // namespace
}  // namespace broker::http
