#include "platform/support/logger.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/support/log_file.h"

namespace NKVRHVX20 {

namespace {

constexpr const char* kDefaultFile = "/var/log/hvx/diagnostics.log";

struct TSettings {
  explicit TSettings(const std::string& file) : destination(file) {}

  LogDestination destination;
  int level = ILogger::eTrace;
};

struct TSink {
  LogSink function;
  void* data;
  const TSink* replaced;  // never freed: another thread may be about to call it
};

// Where a relative HVX_LOG_FILE begins: taken when the library is loaded, since object managers
// change the working directory later. A reference, so that nothing is destroyed at exit.
const std::string& start_directory = *new std::string([] {
  std::error_code error;
  return std::filesystem::current_path(error).string();
}());

constinit std::atomic<TSettings*> settings{nullptr};
constinit std::atomic<const TSink*> sink{nullptr};

std::string log_file_name() {
  const char* const file = std::getenv("HVX_LOG_FILE");
  if (file == nullptr || *file == '\0') return kDefaultFile;
  if (*file == '/' || std::string_view(file) == "-") return file;
  return start_directory + "/" + file;
}

TSettings* read_settings() {
  auto* result = new TSettings(log_file_name());
  if (const char* level = std::getenv("HVX_LOG_LEVEL"); level != nullptr) {
    const std::string_view text = level;
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size()) result->level = value;
  }
  return result;
}

// Without a lock, which a child forked at the wrong moment would never get.
[[gnu::noinline]] TSettings& first_settings() {
  TSettings* present = nullptr;
  TSettings* ours = read_settings();
  if (settings.compare_exchange_strong(present, ours, std::memory_order_acq_rel)) return *ours;
  delete ours;
  return *present;
}

TSettings& present_settings() {
  TSettings* present = settings.load(std::memory_order_acquire);
  return present != nullptr ? *present : first_settings();
}

class TCoreLogger final : public ILogger {
 public:
  void Log(EHVXLogSeverity severity, const std::string& text) override {
    const int error = errno;  // callers log between a failure and looking at its reason
    try {
      if (const TSink* present = sink.load(std::memory_order_acquire))
        if (present->function != nullptr) present->function(severity, text, present->data);
      TSettings& present = present_settings();
      if (severity <= present.level) present.destination.write(severity, text);
    } catch (...) {
      // Out of memory: the line is dropped, the caller goes on.
    }
    errno = error;
  }
};

constinit TCoreLogger core_logger;

}  // namespace

ILogger* TRootObject::GetCoreLogger() { return &core_logger; }

bool is_logged(ILogger::EHVXLogSeverity severity) {
  const TSink* present = sink.load(std::memory_order_acquire);
  return (present != nullptr && present->function != nullptr) ||
         severity <= present_settings().level;
}

void set_log_sink(LogSink function, void* data) {
  auto* added = new TSink{function, data, sink.load(std::memory_order_acquire)};
  while (!sink.compare_exchange_weak(added->replaced, added, std::memory_order_acq_rel)) {
  }
}

}  // namespace NKVRHVX20
