// Requests of many threads at once. The build with the thread sanitizer runs these tests too.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "broker/held_calls.h"
#include "broker/object_manager.h"
#include "broker/test_classes.h"

namespace broker {
namespace {

ObjectPath widget(const char* name) {
  return ObjectPath({}, "TEST_Widget", {{"Name", Value(name)}});
}

std::string do_it(ObjectManager& manager, const char* what, const char* name = "one") {
  return manager.invoke_method(widget(name), "Do", {{"What", Value(what)}})
      .find("Report")
      ->as_text();
}

TEST(ObjectManagerThreads, RequestsOfAllKindsRunTogether) {
  ObjectManager manager(test_schema(), test_options());
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&manager, i] {
      const std::string name = "thread" + std::to_string(i);
      for (int round = 0; round < 20; ++round) {
        const ObjectPath path = manager.create_instance(Instance(widget(name.c_str())));
        EXPECT_GE(manager.enumerate_instances("TEST_Widget").size(), 5u);
        EXPECT_EQ(manager.associators(widget("one")).size(), 1u);
        EXPECT_EQ(do_it(manager, "method"), "0 0 -3");
        manager.delete_instance(path);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 4u);
}

TEST(ObjectManagerThreads, OneProviderServesTwoRequestsAtOnce) {
  ObjectManager manager(test_schema(), test_options());
  std::string first;
  std::thread other([&] { first = do_it(manager, "meet"); });
  const std::string second = do_it(manager, "meet");
  other.join();
  EXPECT_EQ(first, "met");
  EXPECT_EQ(second, "met");
}

TEST(ObjectManagerThreads, AttachedThreadsOfSeveralRequests) {
  ObjectManager manager(test_schema(), test_options());
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&manager] {
      EXPECT_EQ(do_it(manager, "attach"),
                "before 1, attach 0, again 60, found 2 then 18, detach 0, after 1, not mine 60");
    });
  }
  for (std::thread& thread : threads) thread.join();
}

TEST(ObjectManagerThreads, IdleUnloadingAndRequestsDoNotMeet) {
  Options options = test_options();
  options.idle_time = std::chrono::milliseconds(0);
  for (const bool stays : {false, true}) {
    for (RegistrationEntry& entry : options.registration) entry.unload_never = stays;
    ObjectManager manager(test_schema(), options);
    std::atomic<bool> stop{false};
    std::thread unloader([&] {
      while (!stop) {
        manager.end_idle();
        std::this_thread::yield();
      }
    });
    for (int i = 0; i < 100; ++i) {
      EXPECT_EQ(manager.enumerate_instances("TEST_Gadget").size(), 2u);
    }
    stop = true;
    unloader.join();
  }
}

TEST(ObjectManagerThreads, AThreadLooksForIdleProviders) {
  Options options = test_options();
  options.idle_time = std::chrono::milliseconds(1);
  options.look_for_idle = std::chrono::milliseconds(1);
  std::promise<void> ended;
  bool told = false;
  options.log = [&](int, const std::string& text) {
    if (text == "Gadget: cleanup instance" && !std::exchange(told, true)) ended.set_value();
  };
  ObjectManager manager(test_schema(), options);
  EXPECT_EQ(manager.enumerate_instances("TEST_Gadget").size(), 2u);
  EXPECT_EQ(ended.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

// The cleanup throws, and so does the log when it is told. The next cleanup does not throw.
TEST(ObjectManagerThreads, TheThreadThatLooksOutlivesALookThatFails) {
  Options options = test_options();
  options.registration = {test_entry("TEST_Widget", "Odd", "i")};
  options.idle_time = std::chrono::milliseconds(1);
  options.look_for_idle = std::chrono::milliseconds(1);
  std::promise<void> ended;
  bool told = false;
  options.log = [&](int, const std::string& text) {
    if (text.starts_with("provider Odd failed to end")) throw std::bad_alloc();
    if (text == "Odd: cleanup instance" && !std::exchange(told, true)) ended.set_value();
  };
  ObjectManager manager(test_schema(), options);
  EXPECT_EQ(manager.enumerate_instances("TEST_Widget").size(), 2u);
  EXPECT_EQ(ended.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
}

// A call on a thread of its own, which stays with the provider or waits for its turn.
struct HeldCall {
  HeldCall(ObjectManager& manager, const char* name)
      : thread([this, &manager, name] {
          Request request;
          request.client_has_gone = [this] {
            waits = true;
            waits.notify_all();
            return gone.load();
          };
          try {
            manager.invoke_method(widget(name), "Do", {{"What", Value("get missing")}}, request);
          } catch (const Error& error) {
            status = error.status();
          }
        }) {}

  std::atomic<bool> waits = false, gone = false;
  Status status = Status::Ok;
  std::thread thread;
};

TEST(ObjectManagerThreads, HeldCallsWaitBeforeTheProviderIsAsked) {
  HeldCalls held;
  ObjectManager manager(test_schema(), HeldCalls::options());
  HeldCall first(manager, "one");
  HeldCalls::wait_for_one();
  HeldCall second(manager, "two");
  second.waits.wait(false);
  EXPECT_THROW(do_it(manager, "get missing", "two"), Error) << "one for this object waits";

  EXPECT_EQ(manager.invoke_method(widget("one"), "Add", {{"A", Value(std::uint32_t{2})}})
                .find("Sum")
                ->as_signed(),
            2)
      << "of another method";
  EXPECT_EQ(do_it(manager, "names", "free"), "4 then 18") << "on nothing";
  second.gone = true;
  second.thread.join();
  EXPECT_EQ(second.status, Status::Failed);
  EXPECT_EQ(HeldCalls::begun(), 1);

  HeldCalls::let_go();
  first.thread.join();
  EXPECT_EQ(first.status, Status::Ok);
  EXPECT_EQ(do_it(manager, "names"), "4 then 18") << "its turn has come";
}

TEST(ObjectManagerThreads, TheEndRefusesHeldCallsThatWait) {
  HeldCalls held;
  auto manager = std::make_unique<ObjectManager>(test_schema(), HeldCalls::options());
  HeldCall first(*manager, "one");
  HeldCalls::wait_for_one();
  HeldCall second(*manager, "two");
  second.waits.wait(false);
  std::thread end([&] { manager.reset(); });
  second.thread.join();
  EXPECT_EQ(second.status, Status::ServerIsShuttingDown);
  HeldCalls::let_go();
  first.thread.join();
  EXPECT_EQ(first.status, Status::Ok);
  end.join();
  EXPECT_EQ(HeldCalls::begun(), 1);
}

TEST(ObjectManagerThreads, TurnsEndBeforeTheManagerDoes) {
  ObjectManager manager(test_schema(), HeldCalls::options());
  EXPECT_EQ(do_it(manager, "names"), "4 then 18");
  manager.end_turns();
  EXPECT_THROW(do_it(manager, "names"), Error);
  EXPECT_EQ(do_it(manager, "names", "free"), "4 then 18");
}

// If it did, a provider that calls its own method would wait for its own end.
TEST(ObjectManagerThreads, CallsWithinOneThatHasItsTurnDoNotWait) {
  HeldCalls held;
  Options options = HeldCalls::options();
  options.one_at_a_time[0].most_waiting = 0;
  ObjectManager manager(test_schema(), std::move(options));
  std::string within;
  HeldCalls::within([&] { within = do_it(manager, "names"); });
  HeldCalls::let_go();
  do_it(manager, "get missing");
  EXPECT_EQ(within, "4 then 18");
}

// Ends the manager while it enumerates the class.
void end_within_enumeration(std::unique_ptr<ObjectManager> manager, const ObjectPath& class_path,
                            int instances) {
  std::atomic<bool> started{false}, finished{false}, ended{false};
  std::thread request([&, &running = *manager] {
    int seen = 0;
    running.enumerate_instances(class_path, [&](const Instance&) {
      if (seen++ == 0) {
        started = true;
        started.notify_all();
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_FALSE(ended);
      }
      if (seen == instances) finished = true;
    });
    EXPECT_EQ(seen, instances);
  });
  started.wait(false);
  manager.reset();
  ended = true;
  EXPECT_TRUE(finished);
  request.join();
}

TEST(ObjectManagerThreads, TheEndWaitsForRequestsInFlight) {
  end_within_enumeration(std::make_unique<ObjectManager>(test_schema(), test_options()),
                         ObjectPath({}, "TEST_Widget"), 4);
}

TEST(ObjectManagerThreads, TheEndWaitsForRequestsOnInteropToo) {
  Options options;
  options.interop.emplace();
  end_within_enumeration(std::make_unique<ObjectManager>(generated_schema(), std::move(options)),
                         ObjectPath(kInteropNameSpace, "CIM_Namespace"), 3);
}

}  // namespace
}  // namespace broker
