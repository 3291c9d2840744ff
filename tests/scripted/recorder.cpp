#include "tests/scripted/recorder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <mutex>
#include <stdexcept>

#include "platform/descriptor.h"
#include "platform/support/logger.h"
#include "tests/scripted/script.h"

namespace scripted {

namespace {

struct Recorder {
  std::mutex lock;
  std::vector<Event> events;
  std::filesystem::path calls;
  off_t calls_read = sizeof(CallsHead);
  std::function<void()> on_sleep;
};

// Never destroyed: other threads may log while the process ends.
Recorder& recorder() {
  static auto& the = *new Recorder;
  return the;
}

std::string joined(const std::vector<std::string>& arguments) {
  std::string all;
  for (const std::string& argument : arguments) all += argument + '\0';
  return all;
}

// Takes over the calls that were made since the last time. The lock is held.
void take_calls(Recorder& the) {
  const platform::Descriptor file(open(the.calls.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return;
  flock(file.get(), LOCK_SH);
  std::uint64_t size = 0;
  while (pread(file.get(), &size, sizeof size, the.calls_read) == sizeof size) {
    std::string arguments(size, '\0');
    const auto got = pread(file.get(), arguments.data(), size, the.calls_read + off_t{sizeof size});
    if (got != static_cast<ssize_t>(size)) break;
    the.calls_read += static_cast<off_t>(sizeof size + size);
    std::string line = "$ smartctl";
    for (std::size_t at = 0; at < size; at = arguments.find('\0', at) + 1)
      line += std::string(" ") + (arguments.data() + at);
    the.events.push_back({{}, line});
  }
}

void note(std::string line) {
  Recorder& the = recorder();
  const std::lock_guard guard(the.lock);
  take_calls(the);
  the.events.push_back({std::this_thread::get_id(), std::move(line)});
}

}  // namespace

void write_script(const std::vector<Answer>& answers, const std::filesystem::path& folder) {
  std::vector<ScriptStep> steps;
  std::string bytes;
  const auto put = [&](const std::string& text) {
    const std::uint64_t at = answers.size() * sizeof(ScriptStep) + bytes.size();
    bytes += text;
    return at;
  };
  for (const Answer& answer : answers) {
    const std::string arguments = joined(answer.arguments);
    ScriptStep step{};
    step.arguments_at = put(arguments);
    step.arguments_size = arguments.size();
    step.output_at = put(answer.output);
    step.output_size = answer.output.size();
    step.takes_milliseconds = answer.takes_milliseconds;
    step.exit_status = answer.exit_status;
    step.killed_by = answer.killed_by;
    step.hangs = answer.hangs;
    steps.push_back(step);
  }
  std::ofstream script(folder / "script", std::ios::binary);
  script.write(reinterpret_cast<const char*>(steps.data()),
               static_cast<std::streamsize>(steps.size() * sizeof(ScriptStep)));
  script << bytes;
  const CallsHead head{answers.size(), 0};
  std::ofstream calls(folder / "calls", std::ios::binary);
  calls.write(reinterpret_cast<const char*>(&head), sizeof head);
  if (!script.flush() || !calls.flush()) throw std::runtime_error("the script cannot be written");
}

void start_recording(const std::filesystem::path& calls, std::function<void()> on_sleep) {
  Recorder& the = recorder();
  const std::lock_guard guard(the.lock);
  the.calls = calls;
  the.on_sleep = std::move(on_sleep);
  NKVRHVX20::set_log_sink([](NKVRHVX20::ILogger::EHVXLogSeverity severity, const std::string& text,
                             void*) { note(std::to_string(severity) + " " + text); },
                          nullptr);
}

void stop_recording() { NKVRHVX20::set_log_sink(nullptr, nullptr); }

void record(std::string line) { note(std::move(line)); }

std::vector<Event> recorded() {
  Recorder& the = recorder();
  const std::lock_guard guard(the.lock);
  take_calls(the);
  return the.events;
}

}  // namespace scripted

// What the module calls between two reads of a drive's log.
extern "C" __attribute__((visibility("default"))) unsigned sleep(unsigned seconds) {
  scripted::record("sleep " + std::to_string(seconds));
  std::function<void()> on_sleep;
  {
    auto& the = scripted::recorder();
    const std::lock_guard guard(the.lock);
    on_sleep = the.on_sleep;
  }
  if (on_sleep) on_sleep();
  return 0;
}
