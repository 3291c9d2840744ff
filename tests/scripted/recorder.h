// Notes in one list what happens in this process: lines of the core log, calls of the stand-in
// smartctl and of sleep. The program that links it exports a sleep that returns at once.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "tests/scripted/life.h"

namespace scripted {

struct Event {
  std::thread::id thread;  // none for a call of the stand-in
  std::string line;        // as in a life's transcript
};

// Writes the files that the stand-in in that folder works with (script.h).
void write_script(const std::vector<Answer>& answers, const std::filesystem::path& folder);

// Records from now on. calls is the stand-in's list of calls, which need not exist.
void start_recording(const std::filesystem::path& calls, std::function<void()> on_sleep);
void stop_recording();

// Adds a line of the caller. Calls that were made before come before it.
void record(std::string line);
std::vector<Event> recorded();

}  // namespace scripted
