// The place where a life is played: the real module behind the real object manager, in a folder of
// its own, with a stand-in smartctl and a sleep that does not sleep. Everything is recorded.
//
// The module keeps its state for the life of the process, so a process has one stage.
//
// The module keeps its state for the life of the process, so a process has one stage.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "broker/object_manager.h"
#include "tests/scripted/life.h"
#include "tests/scripted/recorder.h"

namespace scripted {

class Stage {
 public:
  explicit Stage(const Life& life);  // throws std::runtime_error when it cannot be set up
  ~Stage();                          // ends the object manager
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  // Performs the actions of the life; what they throw becomes "< error STATUS" lines.
  void play();
  // What has happened so far, in order.
  std::vector<Event> events() const;
  // The lines that stand in the log file, as "SEVERITY text", text unescaped. Throws
  // std::runtime_error when one is not a whole line of this process.
  std::vector<std::string> log_file() const;

  broker::ObjectManager& manager() { return *manager_; }
  broker::MethodResult run(const broker::Value& element, const std::string& service);
  broker::ObjectPath drive() const;  // the life's

  // Called by the thread that would sleep, after the sleep was noted.
  std::function<void()> on_sleep;

 private:
  void prepare_smartctl();
  void play_action(const std::vector<std::string>& words);
  void play_run(const std::vector<std::string>& words);
  void play_list(const std::string& class_name);

  Life life_;
  std::filesystem::path folder_;
  std::unique_ptr<broker::ObjectManager> manager_;
};

// This machine has a smartctl of its own, and it cannot be hidden from a life that has none.
struct CannotHide {};

constexpr char kServiceName[] = "Hard Drive: Self Test";

}  // namespace scripted
