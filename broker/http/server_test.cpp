// Requests and replies as a client meets them.
#include "broker/http/server.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "broker/http/test_client.h"

namespace broker::http {
namespace {

using std::chrono::seconds;

TEST(Server, AnswersAPost) {
  const TestServer test(echo);
  TestClient client(test.port);
  const TestReply reply = client.post("hello");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "hello");
  EXPECT_EQ(reply.headers.at("cimoperation"), "MethodResponse");
  EXPECT_EQ(reply.headers.count("ext"), 0u);
}

TEST(Server, KeepsTheConnectionForTheNextRequest) {
  const TestServer test(echo);
  TestClient client(test.port);
  for (int i = 0; i < 100; ++i) ASSERT_EQ(client.post(std::to_string(i)).body, std::to_string(i));
}

TEST(Server, AnswersAnMPostWithPrefixedFields) {
  cimxml::Call seen;
  const TestServer test([&](const cimxml::Call& call, cimxml::Reply& reply) {
    seen = call;
    echo(call, reply);
  });
  TestClient client(test.port);
  client.send(request_text("M-POST", "x",
                           "Man: http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73\r\n"
                           "73-CIMOperation: MethodCall\r\n73-CIMMethod: GetInstance\r\n"
                           "73-CIMObject: root%2Fcimv2\r\n"));
  const TestReply reply = client.receive();
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.headers.at("ext"), "");
  EXPECT_EQ(reply.headers.at("man"), "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73");
  EXPECT_EQ(reply.headers.at("73-cimoperation"), "MethodResponse");
  EXPECT_EQ(reply.headers.count("cimoperation"), 0u);
  EXPECT_EQ(seen.operation, "MethodCall");
  EXPECT_EQ(seen.method, "GetInstance");
  EXPECT_EQ(seen.object, "root/cimv2");
}

TEST(Server, TakesAChunkedRequest) {
  const TestServer test(echo);
  TestClient client(test.port);
  client.send(
      "POST / HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n"
      "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");
  EXPECT_EQ(client.receive().body, "abcde");
}

TEST(Server, RefusesWhatIsNoRequestForIt) {
  struct Case {
    std::string method, path, fields;
    int status;
  };
  const Case cases[] = {
      {"GET", "/cimom", "", 405},    {"DELETE", "/", "", 405},
      {"BREW", "/cimom", "", 501},   {"POST", "/other", "", 404},
      {"M-POST", "/cimom", "", 510}, {"POST", "/cimom", "Origin: http://page.example\r\n", 403},
      {"OPTIONS", "*", "", 200}};
  const TestServer test(echo);
  TestClient client(test.port);
  for (const Case& one : cases) {
    client.send(request_text(one.method, "body", one.fields, one.path));
    EXPECT_EQ(client.receive().status, one.status) << one.method << " " << one.path;
  }
  EXPECT_EQ(client.post("still here").body, "still here");
}

TEST(Server, StreamsALongReply) {
  const std::string line(1000, 'x');
  const TestServer test([&](const cimxml::Call&, cimxml::Reply& reply) {
    reply.begin(200, {});
    for (int i = 0; i < 13'000; ++i) reply.write(line);
  });
  TestClient client(test.port);
  for (int i = 0; i < 3; ++i) {
    const TestReply reply = client.post("");
    EXPECT_TRUE(reply.chunked);
    EXPECT_TRUE(reply.whole);
    EXPECT_EQ(reply.body.size(), 13'000'000u);
  }
}

TEST(Server, SendsRepliesOfEveryLengthWhole) {
  // No two parts of it are alike, so that an exchange of parts would show.
  std::string counted;
  while (counted.size() < 1'000'000) counted += std::to_string(counted.size()) + ' ';
  // A piece of the longer one is more than the system holds of a connection.
  std::atomic<std::size_t> most = 0;
  const TestServer test([&](const cimxml::Call& call, cimxml::Reply& reply) {
    reply.begin(200, {});
    const std::string_view text(counted.data(), std::stoul(std::string(call.body)));
    for (std::size_t place = 0; place < text.size(); place += most)
      reply.write(text.substr(place, most));
  });
  TestClient client(test.port);
  for (const std::size_t part : {40'000, 1'000'000}) {
    most = part;
    for (const std::size_t size : {0, 1, 65'535, 65'536, 65'537, 131'072, 200'000, 1'000'000}) {
      const TestReply reply = client.post(std::to_string(size));
      EXPECT_TRUE(reply.whole);
      EXPECT_TRUE(reply.body == counted.substr(0, size)) << size << " in parts of " << part;
    }
  }
}

TEST(Server, HandlerWaitsForASlowReader) {
  std::atomic<std::size_t> written = 0;
  const std::string piece(100'000, 'x');
  const TestServer test([&](const cimxml::Call&, cimxml::Reply& reply) {
    reply.begin(200, {});
    for (int i = 0; i < 1000; ++i) {
      reply.write(piece);
      written += piece.size();
    }
  });
  TestClient client(test.port);
  client.send(request_text("POST", ""));
  std::size_t before = 1;
  while (before != written || before == 0) {  // until nothing moves
    before = written;
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  EXPECT_LT(written, 10'000'000u);
  EXPECT_EQ(client.receive().body.size(), 100'000'000u);
}

TEST(Server, ClientThatGoesAwayEndsTheWritingOnly) {
  std::promise<bool> gone;
  std::promise<void> finished;
  const std::string piece(100'000, 'x');
  TestServer test([&](const cimxml::Call&, cimxml::Reply& reply) {
    reply.begin(200, {});
    try {
      while (true) reply.write(piece);
    } catch (const cimxml::Reply::Gone&) {
      gone.set_value(true);
    }
    finished.set_value();
  });
  {
    TestClient client(test.port);
    client.send(request_text("POST", ""));
  }
  auto future = gone.get_future();
  ASSERT_EQ(future.wait_for(seconds(60)), std::future_status::ready);
  ASSERT_EQ(finished.get_future().wait_for(seconds(60)), std::future_status::ready);
}

TEST(Server, ClientThatGoesAwayDuringALongMethodDoesNoHarm) {
  std::promise<void> begun, go_on;
  auto may_go_on = go_on.get_future().share();
  std::atomic<int> finished = 0;
  const TestServer test([&](const cimxml::Call& call, cimxml::Reply& reply) {
    if (call.body == "long") {
      begun.set_value();
      may_go_on.wait();
    }
    echo(call, reply);
    ++finished;
  });
  {
    TestClient client(test.port);
    client.send(request_text("POST", "long"));
    begun.get_future().wait();
  }
  TestClient other(test.port);
  EXPECT_EQ(other.post("short").body, "short");
  go_on.set_value();
  while (finished < 2) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_EQ(other.post("again").body, "again");
}

TEST(Server, AnswersManyClientsAtOnce) {
  // Each handler waits for all the others, so none could finish alone.
  constexpr int kMany = 64;
  std::atomic<int> present = 0;
  const TestServer test([&](const cimxml::Call& call, cimxml::Reply& reply) {
    for (++present; present < kMany;) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    echo(call, reply);
  });
  std::vector<std::unique_ptr<TestClient>> clients;
  for (int i = 0; i < kMany; ++i) {
    clients.push_back(std::make_unique<TestClient>(test.port));
    clients.back()->send(request_text("POST", std::to_string(i)));
  }
  for (int i = 0; i < kMany; ++i) EXPECT_EQ(clients[i]->receive().body, std::to_string(i));
}

TEST(Server, HandlerThatThrowsCostsOneRequest) {
  const TestServer test([](const cimxml::Call& call, cimxml::Reply& reply) {
    if (call.body == "late") {
      reply.begin(200, {});
      reply.write(std::string(200'000, 'x'));
    }
    if (call.body != "good") throw std::runtime_error("no");
    echo(call, reply);
  });
  TestClient client(test.port);
  EXPECT_EQ(client.post("early").status, 500);
  EXPECT_FALSE(client.post("late").whole);
  TestClient other(test.port);
  EXPECT_EQ(other.post("good").body, "good");
}

TEST(Server, TellsWhatItCanDo) {
  const TestServer test(echo);
  TestClient client(test.port);
  client.send("OPTIONS * HTTP/1.1\r\nHost: x\r\n\r\n");
  const auto reply = client.receive();
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.headers.at("allow"), "POST, M-POST, OPTIONS");
  EXPECT_EQ(reply.headers.at("opt"), "http://www.dmtf.org/cim/mapping/http/v1.0 ; ns=73");
  EXPECT_EQ(reply.headers.at("73-cimprotocolversion"), "1.0");
  EXPECT_TRUE(reply.headers.contains("73-cimsupportsmultipleoperations"));
  EXPECT_EQ(reply.headers.at("73-cimsupportedfunctionalgroups"),
            "Basic Read, Association Traversal");
}

TEST(Server, AbandonedReplyBreaksOff) {
  const TestServer test([](const cimxml::Call& call, cimxml::Reply& reply) {
    reply.begin(200, {});
    reply.write(std::string(std::stoul(std::string(call.body)), 'x'));
    reply.abandon();
  });
  for (const char* size : {"10", "200000"}) {
    TestClient client(test.port);
    EXPECT_FALSE(client.post(size).whole) << size;
  }
}

TEST(Server, HandlerThatAnswersNothingIsAnError) {
  const TestServer test([](const cimxml::Call&, cimxml::Reply&) {});
  TestClient client(test.port);
  EXPECT_EQ(client.post("").status, 500);
}

TEST(Server, StopCountsWhatIsStillAtWork) {
  std::promise<void> begun, go_on;
  TestServer test([&](const cimxml::Call& call, cimxml::Reply& reply) {
    begun.set_value();
    go_on.get_future().wait();
    echo(call, reply);
  });
  TestClient client(test.port);
  client.send(request_text("POST", "x"));
  begun.get_future().wait();
  EXPECT_EQ(test.server->stop(std::chrono::milliseconds(50)), 1u);
  go_on.set_value();
  EXPECT_EQ(test.server->stop(seconds(60)), 0u);
  EXPECT_EQ(client.receive().body, "x") << "what was received is answered";
}

TEST(Server, StopRefusesLaterRequestsAndClosesRestingConnections) {
  TestServer test(echo);
  TestClient client(test.port);
  EXPECT_EQ(client.post("x").status, 200);
  EXPECT_EQ(test.server->stop(seconds(60)), 0u);
  EXPECT_TRUE(client.closed_within(seconds(60)));
}

}  // namespace
}  // namespace broker::http
