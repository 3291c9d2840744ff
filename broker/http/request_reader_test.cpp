#include "broker/http/request_reader.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace broker::http {
namespace {

using namespace std::string_literals;
using Stage = RequestReader::Stage;

constexpr std::size_t kMostHead = 400;

// What was read from a text: a line for each of its requests.
using Outcome = std::vector<std::string>;
// How many of the remaining bytes come next.
using Cut = std::function<std::size_t(std::size_t left)>;

std::string told(const RequestReader& reader, const std::string& body) {
  if (reader.stage() == Stage::Faulty) {
    EXPECT_THAT(reader.fault().headers, testing::ElementsAre(testing::Pair("Connection", "close")));
    return "refused " + std::to_string(reader.fault().status);
  }
  if (!reader.begun()) return "nothing";
  if (reader.stage() == Stage::Head) return "unfinished head";
  const RequestHead& head = reader.head();
  std::string text = head.method + " " + head.target + " " + head.version;
  for (const auto& [name, value] : head.fields)
    text.append(" [").append(name).append(":").append(value).append("]");
  text += reader.length() ? " " + std::to_string(*reader.length()) : " chunked";
  text += " '" + body + "'";
  return reader.stage() == Stage::Complete ? text : text + " unfinished";
}

// A reader of its own for each request, as a connection has it.
Outcome read_cut(std::string_view text, const Cut& cut) {
  Outcome outcome;
  auto reader = std::make_unique<RequestReader>(kMostHead);
  std::string body;
  for (std::string_view pending; !text.empty() || !pending.empty();) {
    if (pending.empty()) {
      pending = text.substr(0, cut(text.size()));
      text.remove_prefix(pending.size());
    }
    const Stage before = reader->stage();
    const std::size_t taken = reader->take(pending);
    EXPECT_TRUE(taken == pending.size() || reader->stage() != before) << "it takes what it can";
    pending.remove_prefix(taken);
    body += reader->take_body();
    if (reader->stage() == Stage::Faulty) {
      EXPECT_EQ(reader->take("x"), 0u);
      break;
    }
    if (reader->stage() != Stage::Complete) continue;
    EXPECT_EQ(reader->take("x"), 0u);
    outcome.push_back(told(*reader, body));
    reader = std::make_unique<RequestReader>(kMostHead);
    body.clear();
  }
  outcome.push_back(told(*reader, body));
  return outcome;
}

// What is read from the whole, and the same byte by byte and in any pieces.
Outcome read(const std::string& text) {
  Outcome whole = read_cut(text, [](std::size_t left) { return left; });
  EXPECT_EQ(read_cut(text, [](std::size_t) { return 1; }), whole) << text;
  for (unsigned seed = 0; seed < 20; ++seed) {
    std::mt19937 some(seed);
    const auto cut = [&](std::size_t left) { return std::min<std::size_t>(left, some() % 40 + 1); };
    EXPECT_EQ(read_cut(text, cut), whole) << text << " cut by " << seed;
  }
  return whole;
}

// What is read from a text with one request, or the beginning of one.
std::string one(const std::string& text) {
  const Outcome outcome = read(text);
  if (outcome.size() == 2 && outcome.back() == "nothing") return outcome.front();
  EXPECT_EQ(outcome.size(), 1u) << text;
  return outcome.front();
}

// A request with these further fields, each with its line end, and with what follows the head.
std::string post(const std::string& fields, const std::string& body = "") {
  return "POST /cimom HTTP/1.1\r\nHost: x\r\n" + fields + "\r\n" + body;
}

std::string chunks(const std::string& text) {
  return one(post("Transfer-Encoding: chunked\r\n", text));
}

constexpr const char* kChunked =
    "POST /cimom HTTP/1.1 [Host:x] [Transfer-Encoding:chunked] chunked ";

TEST(RequestReader, ReadsRequests) {
  EXPECT_EQ(one(post("")), "POST /cimom HTTP/1.1 [Host:x] 0 ''");
  EXPECT_EQ(one(post("a:\r\nB: \t c d \t\r\na:e:f\r\n")),
            "POST /cimom HTTP/1.1 [Host:x] [a:] [B:c d] [a:e:f] 0 ''");
  EXPECT_EQ(one(post("Content-Length: 3\r\n", "\0\r\n"s)),
            "POST /cimom HTTP/1.1 [Host:x] [Content-Length:3] 3 '\0\r\n'"s);
  EXPECT_EQ(one("M-POST http://h/ HTTP/1.0\r\n\r\n"), "M-POST http://h/ HTTP/1.0 0 ''");
  EXPECT_EQ(one("OPTIONS * HTTP/1.0\r\nHost:\r\n\r\n"), "OPTIONS * HTTP/1.0 [Host:] 0 ''");
}

TEST(RequestReader, ReadsOneRequestAfterTheOther) {
  EXPECT_THAT(read(post("Content-Length: 1\r\n", "a") +
                   post("Transfer-Encoding: chunked\r\n", "1\r\nb\r\n0\r\n\r\n") + "GET"),
              testing::ElementsAre("POST /cimom HTTP/1.1 [Host:x] [Content-Length:1] 1 'a'",
                                   kChunked + "'b'"s, "unfinished head"));
}

TEST(RequestReader, StopsWhereTheHeadEnds) {
  const std::string head = post("Content-Length: 2\r\n");
  RequestReader reader(kMostHead);
  EXPECT_EQ(reader.take(head + "abc"), head.size());
  EXPECT_EQ(reader.stage(), Stage::Body);
  EXPECT_EQ(reader.length(), 2u);
  EXPECT_EQ(reader.take("a"), 1u);
  EXPECT_EQ(reader.take_body(), "a");
  EXPECT_EQ(reader.take_body(), "");
  EXPECT_EQ(reader.take("bc"), 1u);
  EXPECT_EQ(reader.stage(), Stage::Complete);
  EXPECT_EQ(reader.take_body(), "b");
}

TEST(RequestReader, HeadStaysWhereItIsWhileTheRestComes) {
  RequestReader reader(kMostHead);
  reader.take(post("Transfer-Encoding: chunked\r\n"));
  const std::string* const first = &reader.head().fields.front().first;
  reader.take("0\r\nt: 1\r\nu: 2\r\nv: 3\r\n\r\n");
  EXPECT_EQ(reader.stage(), Stage::Complete);
  EXPECT_EQ(&reader.head().fields.front().first, first);
  EXPECT_EQ(reader.head().fields.size(), 2u);
}

TEST(RequestReader, TakesSomeEmptyLinesBeforeARequest) {
  EXPECT_EQ(one("\r\n\r\n\r\n\r\n" + post("")), "POST /cimom HTTP/1.1 [Host:x] 0 ''");
  EXPECT_EQ(one("\r\n\r\n\r\n\r\n\r"), "nothing");
  EXPECT_EQ(one("\r\n\r\n\r\n\r\n\r\n"), "refused 400");
  RequestReader reader(kMostHead);
  reader.take("\r\n");
  EXPECT_FALSE(reader.begun());
  reader.take("P");
  EXPECT_TRUE(reader.begun());
}

TEST(RequestReader, RequestLineIsThreeWords) {
  for (const char* const faulty :
       {"GET", "GET /", "GET  / HTTP/1.1", "GET /  HTTP/1.1", "GET / HTTP/1.1 ", " GET / HTTP/1.1",
        "GET / / HTTP/1.1", "GET\t/ HTTP/1.1", "GET /\t HTTP/1.1", "G(T / HTTP/1.1",
        "GET /\xc3\xa4 HTTP/1.1", "GET / http/1.1", "GET / HTTP/1.1x", "GET / HTTP/11",
        "GET / HTTP/.1", "GET / HTTP/1,1", "GET / XTTP/1.1", "GET  HTTP/1.1", " "})
    EXPECT_EQ(one(faulty + "\r\nHost: x\r\n\r\n"s), "refused 400") << faulty;
  for (const char* const later : {"HTTP/0.9", "HTTP/1.2", "HTTP/2.0", "HTTP/9.9"})
    EXPECT_EQ(one("PRI * "s + later + "\r\n\r\n"), "refused 505") << later;
}

TEST(RequestReader, LineEndsAreBothCharacters) {
  const std::string good = post("Content-Length: 1\r\n");
  for (std::size_t at = 0; at < good.size(); ++at) {
    if (good[at] == '\r') {  // "\n", then "\rx"
      EXPECT_EQ(one(std::string(good).erase(at, 1) + "a"), "refused 400") << at;
      EXPECT_EQ(one(std::string(good).insert(at + 1, "x") + "a"), "refused 400") << at;
      EXPECT_EQ(one(std::string(good).insert(at, "\r") + "a"), "refused 400") << at;
    }
  }
  EXPECT_EQ(one(post("a: b\nc: d\r\n")), "refused 400");
  EXPECT_EQ(one(post("a: b\rc: d\r\n")), "refused 400");
}

TEST(RequestReader, ControlCharactersAreRefusedWhereTheyStand) {
  for (int code = 0; code < 0x100; ++code) {
    const char byte = static_cast<char>(code);
    const bool control = (code < 0x20 && byte != '\t') || code == 0x7f;
    if (byte == '\r') continue;
    // Refused at once, before a line end has come.
    EXPECT_EQ(one("POST /cimom HTTP/1.1\r\na: b"s + byte),
              control ? "refused 400" : "unfinished head")
        << code;
    if (!control) continue;
    EXPECT_EQ(one(std::string(1, byte)), "refused 400") << code;
  }
}

TEST(RequestReader, NamesOfFieldsAreTokens) {
  for (const char* const faulty : {" a: b", "\ta: b", "a : b", "a\t: b", ": b", "a", "a b: c",
                                   "\"a\": b", "a(b): c", "\xc3\xa4: b", "a,b: c", " "})
    EXPECT_EQ(one(post(faulty + "\r\n"s)), "refused 400") << faulty;
  EXPECT_EQ(one(post("a: b\r\n c\r\n")), "refused 400") << "folded";
  EXPECT_EQ(one("POST /cimom HTTP/1.1\r\n Host: x\r\n\r\n"), "refused 400") << "folded";
  EXPECT_EQ(one(post("!#$%&'*+-.^_`|~09azAZ:\r\n")),
            "POST /cimom HTTP/1.1 [Host:x] [!#$%&'*+-.^_`|~09azAZ:] 0 ''");
}

TEST(RequestReader, HostIsThereOnce) {
  const auto with = [](const std::string& version, const std::string& hosts) {
    return one("POST / HTTP/" + version + "\r\n" + hosts + "\r\n").substr(0, 11);
  };
  EXPECT_EQ(with("1.1", "hOST: x\r\n"), "POST / HTTP");
  EXPECT_EQ(with("1.1", ""), "refused 400");
  EXPECT_EQ(with("1.1", "Host: x\r\nhost: x\r\n"), "refused 400");
  EXPECT_EQ(with("1.0", ""), "POST / HTTP");
  EXPECT_EQ(with("1.0", "Host: x\r\nHost: x\r\n"), "refused 400");
}

TEST(RequestReader, LengthIsOneNumber) {
  const auto with = [](const std::string& length) {
    return one(post("Content-Length:" + length + "\r\n", "abc")).substr(0, 11);
  };
  EXPECT_EQ(with("3"), "POST /cimom");
  EXPECT_EQ(with(" 003 "), "POST /cimom");
  for (const char* const faulty :
       {"", "-3", "+3", "3a", "0x3", "3,3", "3, 3", "3 3", "3.0", "\"3\"", "\xd9\xa3",
        "3\r\nContent-Length: 3", "3\r\nTransfer-Encoding: chunked",
        "0\r\nTransfer-Encoding: chunked"})
    EXPECT_EQ(with(faulty), "refused 400") << faulty;
  EXPECT_EQ(one(post("Content-Length: 18446744073709551615\r\n", "abc")),
            "POST /cimom HTTP/1.1 [Host:x] [Content-Length:18446744073709551615] "
            "18446744073709551615 'abc' unfinished");
  EXPECT_EQ(with("18446744073709551616"), "refused 413");
}

TEST(RequestReader, ChunkedIsTheOneEncoding) {
  const auto with = [](const std::string& encoding) {
    return one(post("Transfer-Encoding:" + encoding + "\r\n", "0\r\n\r\n")).substr(0, 11);
  };
  EXPECT_EQ(with("chunked"), "POST /cimom");
  EXPECT_EQ(with(" \tChunked\t"), "POST /cimom");
  for (const char* const unknown :
       {"gzip", "identity", "xchunked", "gzip, chunked", "a,b , chunked"})
    EXPECT_EQ(with(unknown), "refused 501") << unknown;
  for (const char* const faulty :
       {"", ",", "chunked,", ",chunked", "chunked, chunked", "chunked, gzip", "chunked;a=b",
        "chu nked", "\"chunked\"", "chunked\r\nTransfer-Encoding: chunked",
        "gzip\r\nTransfer-Encoding: chunked"})
    EXPECT_EQ(with(faulty), "refused 400") << faulty;
  EXPECT_EQ(one("POST / HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n"), "refused 400");
}

TEST(RequestReader, ReadsChunks) {
  EXPECT_EQ(chunks("0\r\n\r\n"), kChunked + "''"s);
  EXPECT_EQ(chunks("3\r\nabc\r\n00A;b=\"c d\";e\r\n0123456789\r\n0\r\n\r\n"),
            kChunked + "'abc0123456789'"s);
  EXPECT_EQ(chunks("4\r\n\r\n\r\n\r\n0\r\n\r\n"), kChunked + "'\r\n\r\n'"s);
  EXPECT_EQ(chunks("3\r\nab"), kChunked + "'ab' unfinished"s);
  EXPECT_EQ(chunks("ffffffffffffffff\r\nab"), kChunked + "'ab' unfinished"s);
  EXPECT_EQ(chunks("0\r\nt: u\r\nv:\r\n\r\n"), kChunked + "''"s) << "a trailer is dropped";
}

TEST(RequestReader, FramingOfChunksIsExact) {
  for (const char* const faulty : {"\r\n",
                                   " 1\r\n",
                                   "1 \r\n",
                                   "1\t\r\n",
                                   "1 ;a\r\n",
                                   "0x1\r\n",
                                   "-1\r\n",
                                   "+1\r\n",
                                   "g\r\n",
                                   ";a\r\n",
                                   "1\n",
                                   "1\r",
                                   "10000000000000000\r\n",
                                   "1,1\r\n",
                                   "1\r\nab",
                                   "1\r\na\n",
                                   "1\r\na\rb",
                                   "1\r\na0\r\n",
                                   "1;a\nb\r\n",
                                   "1;\x01",
                                   "0\r\n: x\r\n",
                                   "0\r\n x: y\r\n",
                                   "0\r\nx\r\n",
                                   "0\r\nx: y\n",
                                   "0\r\n\n",
                                   "0\r\n\rx"}) {
    std::string text = faulty;
    if (text.back() == '\r') text += 'x';
    EXPECT_EQ(chunks(text), "refused 400") << faulty;
  }
}

TEST(RequestReader, HeadTrailerAndChunkLinesAreBounded) {
  const auto padded = [](const std::string& begin, std::size_t size, const std::string& end) {
    return begin + std::string(size - begin.size() - end.size(), 'x') + end;
  };
  const std::string begin = "POST / HTTP/1.1\r\nHost: x\r\na: ";
  EXPECT_THAT(one(padded(begin, kMostHead, "\r\n\r\n")), testing::StartsWith("POST"));
  EXPECT_THAT(one("\r\n" + padded(begin, kMostHead, "\r\n\r\n")), testing::StartsWith("POST"));
  EXPECT_EQ(one(padded(begin, kMostHead + 1, "\r\n\r\n")), "refused 431");
  EXPECT_EQ(one(std::string(kMostHead, 'x')), "unfinished head");
  EXPECT_EQ(one(std::string(kMostHead + 1, 'x')), "refused 431");
  EXPECT_EQ(chunks("0\r\n" + padded("a: ", kMostHead, "\r\n\r\n")), kChunked + "''"s);
  EXPECT_EQ(chunks("0\r\n" + padded("a: ", kMostHead + 1, "\r\n\r\n")), "refused 431");
  EXPECT_EQ(chunks(padded("1;", 258, "\r\n") + "a\r\n0\r\n\r\n"), kChunked + "'a'"s);
  EXPECT_EQ(chunks(padded("1;", 259, "\r\n")), "refused 400");
}

TEST(RequestReader, FieldsAreCounted) {
  const auto with = [](unsigned count) {
    std::string fields;
    for (; count > 0; --count) fields += "a:\r\n";
    RequestReader reader(std::size_t{64} << 10);
    reader.take("POST / HTTP/1.0\r\n" + fields + "\r\n");
    return reader.stage() == Stage::Complete ? 0 : reader.fault().status;
  };
  EXPECT_EQ(with(100), 0);
  EXPECT_EQ(with(101), 431);
}

}  // namespace
}  // namespace broker::http
