// A host of the support library for its tests: a process whose environment, directory and library
// places a test chooses.
//
//   support_client --sigchld ARRANGEMENT COMMAND...  treats SIGCHLD that way (sigchld.h) meanwhile
//   support_client run SECONDS PROGRAM ARGUMENT...   prints status, line feed, output
//   support_client log SEVERITY TEXT COUNT           logs the text so many times
//   support_client threads-log COUNT TEXT            logs as often in each of four threads
//   support_client fork-log COUNT                    forks so many children that log "child", while
//                                                    a thread logs "parent"
//   support_client moved-log DIRECTORY TEXT          changes there, then logs
//   support_client renamed-log FILE TEXT             logs, sets HVX_LOG_FILE to the file, logs
//   support_client closed-log FILE TEXT              logs, makes every descriptor one of the file,
//                                                    logs
//   support_client sink-log SEVERITY TEXT            prints what a sink gets
//   support_client time                              prints the local time
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "platform/support/logger.h"
#include "platform/support/osspecific.h"
#include "platform/support/sigchld.h"

using namespace NKVRHVX20;

namespace {

ILogger::EHVXLogSeverity severity(const std::string& text) {
  return static_cast<ILogger::EHVXLogSeverity>(std::stoi(text));
}

void print(ILogger::EHVXLogSeverity severity, const std::string& text, void* data) {
  std::fprintf(static_cast<FILE*>(data), "%d|%s|\n", severity, text.c_str());
}

void log_in_threads(int count, const std::string& text) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&] {
      for (int i = 0; i < count; ++i) TRootObject::GetCoreLogger()->Log(ILogger::eTrace, text);
    });
  for (std::thread& thread : threads) thread.join();
}

void log_in_children(int count) {
  std::atomic<bool> ended = false;
  std::thread other([&] {
    while (!ended) TRootObject::GetCoreLogger()->Log(ILogger::eTrace, "parent");
  });
  for (; count > 0; --count) {
    const pid_t child = fork();
    if (child == 0) {
      TRootObject::GetCoreLogger()->Log(ILogger::eTrace, "child");
      _exit(0);
    }
    waitpid(child, nullptr, 0);
  }
  ended = true;
  other.join();
}

// As a host that closes everything and opens files of its own.
void replace_descriptors(const std::string& path) {
  const int file = open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  std::vector<int> numbers;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    numbers.push_back(std::stoi(entry.path().filename().string()));
  for (const int number : numbers)
    if (number > STDERR_FILENO) dup2(file, number);
}

}  // namespace

int main(int count, char** values) {
  std::vector<std::string> words(values + 1, values + count);
  if (words.size() >= 2 && words[0] == "--sigchld") {
    const auto* const name = std::ranges::find(kSigchldNames, words[1]);
    if (name == std::end(kSigchldNames)) return 2;
    arrange_sigchld(static_cast<SigchldArrangement>(name - kSigchldNames));
    words.erase(words.begin(), words.begin() + 2);
  }
  const std::string command = words.empty() ? "" : words[0];
  ILogger& logger = *TRootObject::GetCoreLogger();
  if (command == "run" && words.size() >= 3) {
    std::string output;
    const int status = TOSSpecific::SpawnProcess(words[2], {words.begin() + 3, words.end()}, output,
                                                 std::stoi(words[1]));
    std::printf("%d\n%s", status, output.c_str());
  } else if (command == "log" && words.size() == 4) {
    for (int i = std::stoi(words[3]); i > 0; --i) logger.Log(severity(words[1]), words[2]);
  } else if (command == "threads-log" && words.size() == 3) {
    log_in_threads(std::stoi(words[1]), words[2]);
  } else if (command == "fork-log" && words.size() == 2) {
    log_in_children(std::stoi(words[1]));
  } else if (command == "moved-log" && words.size() == 3) {
    if (chdir(words[1].c_str()) != 0) return 1;
    logger.Log(ILogger::eError, words[2]);
  } else if (command == "renamed-log" && words.size() == 3) {
    logger.Log(ILogger::eError, words[2]);
    setenv("HVX_LOG_FILE", words[1].c_str(), 1);
    logger.Log(ILogger::eError, words[2]);
  } else if (command == "closed-log" && words.size() == 3) {
    logger.Log(ILogger::eError, words[2]);
    replace_descriptors(words[1]);
    logger.Log(ILogger::eError, words[2]);
  } else if (command == "sink-log" && words.size() == 3) {
    set_log_sink(&print, stdout);
    logger.Log(severity(words[1]), words[2]);
    set_log_sink(nullptr, nullptr);
    logger.Log(severity(words[1]), words[2]);
  } else if (command == "time") {
    std::printf("%s", TOSSpecific::GetLocalTime().ToString().c_str());
  } else {
    return 2;
  }
  return 0;
}
