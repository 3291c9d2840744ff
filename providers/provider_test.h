// What the tests of providers share: the lines logged meanwhile, a message file, and a smartctl
// of the test's own.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "engine/HDDTest.h"
#include "platform/framework/handler.h"
#include "platform/framework/meta.h"
#include "platform/support/logger.h"

namespace ovk_cimple {

using Lines = std::vector<std::string>;

// A test in an empty working directory of its own, which is also first on PATH.
class ProviderTest : public testing::Test {
 protected:
  void SetUp() override {
    // An engine without results, records and jobs; job numbers go on counting.
    THDDTest::DeleteInstance();
    THDDTest::fgInstance = nullptr;
    std::string name = std::filesystem::temp_directory_path() / "provider_test.XXXXXX";
    ASSERT_TRUE(mkdtemp(name.data()));
    directory_ = name;
    previous_directory_ = std::filesystem::current_path();
    previous_path_ = getenv("PATH");
    setenv("PATH", (name + ":" + previous_path_).c_str(), 1);
    std::filesystem::current_path(directory_);
    NKVRHVX20::set_log_sink(&keep, this);
  }
  void TearDown() override {
    NKVRHVX20::set_log_sink(nullptr, nullptr);
    setenv("PATH", previous_path_.c_str(), 1);
    std::filesystem::current_path(previous_directory_);
    std::filesystem::remove_all(directory_);
  }

  void write_message_file(const std::string& text) {
    std::filesystem::create_directories("hddtest");
    std::ofstream("hddtest/hddtest.msg.xml") << text;
  }
  // A shell script as smartctl; "$1" is the option.
  static void write_smartctl(const std::string& script) {
    std::ofstream("smartctl") << "#!/bin/sh\n" << script;
    chmod("smartctl", 0755);
  }

  // The lines logged since the last call, each as its severity, a blank and its text.
  Lines take_log() {
    const std::lock_guard guard(lock_);
    return std::exchange(lines_, {});
  }
  // The lines of a provider's operation around those of what it calls.
  static Lines trace(const std::string& provider, const std::string& operation,
                     const Lines& between = {}) {
    return joined({{"3 Entering " + provider + "::" + operation},
                   between,
                   {"3 Exiting " + provider + "::" + operation}});
  }
  // The lines of one operation of the engine, which exists already.
  static Lines engine_trace(const std::string& entry, const std::string& exit) {
    return {"3 THDDTest::GetInstance -- Entering ", "3 THDDTest::GetInstance -- Exiting ",
            "3 " + entry, "3 " + exit};
  }
  static Lines joined(const std::vector<Lines>& parts) {
    Lines all;
    for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
  }

  std::filesystem::path directory_;

 private:
  static void keep(NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                   void* data) {
    auto& test = *static_cast<ProviderTest*>(data);
    const std::lock_guard guard(test.lock_);
    test.lines_.push_back(std::to_string(severity) + " " + text);
  }
  std::filesystem::path previous_directory_;
  std::string previous_path_;
  std::mutex lock_;
  Lines lines_;
};

// The instances that a provider's enumeration delivers. Each must come with success.
template <class Class, class Provider>
std::vector<Ref<Class>> enumerate(Provider& provider) {
  std::vector<Ref<Class>> found;
  EnumHandler<Class> handler(
      [](Instance* instance, sint32 status, void* data) {
        EXPECT_EQ(status, 0);
        static_cast<std::vector<Ref<Class>>*>(data)->push_back(
            Ref<Class>::adopt(static_cast<Class*>(instance)));
      },
      &found);
  EXPECT_EQ(provider.enum_instances(nullptr, &handler), 0);
  return found;
}

// Names of the properties that are not null, in the class's order.
inline std::vector<std::string> properties_set(const Instance* instance) {
  std::vector<std::string> names;
  for (const MetaProperty& property : instance->meta_class->properties)
    if (!visit(instance, property, [](auto& p) { return p.null(); }))
      names.emplace_back(property.name);
  return names;
}

}  // namespace ovk_cimple
