// What an enumeration of completion records costs, from the request to the finished CIM-XML reply:
// by the module, and by a provider written by hand for the one class (plain_provider.cpp).
//
//   module/N, plain/N   all properties of N records
//   growth/N            by the module, with the memory that an enumeration takes
//
// HVX_LOG_LEVEL=-1 cuts the log off; else it goes to a file, as in use.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/record_server.h"
#include "bench/workspace.h"

namespace {

using bench::module_with;
using bench::plain_with;
using bench::RecordServer;

// Takes a reply as a client would, but looks at its size only.
class Discarded : public broker::cimxml::Reply {
 public:
  void begin(int status, const Headers&) override { good_ = status == 200; }
  void write(std::string_view text) override {
    if (size_ == 0) good_ = good_ && text.substr(0, 1000).find("<ERROR") == text.npos;
    size_ += text.size();
  }
  std::size_t size() const { return good_ ? size_ : 0; }

 private:
  bool good_ = false;
  std::size_t size_ = 0;
};

std::size_t answer(RecordServer& server, const std::string& body) {
  Discarded reply;
  server.service().answer(RecordServer::call(body), reply);
  return reply.size();
}

void measure(benchmark::State& state, RecordServer& (*server_with)(unsigned long)) {
  RecordServer& server = server_with(static_cast<unsigned long>(state.range(0)));
  const std::string body = bench::enumeration();
  std::size_t size = 0;
  for (auto _ : state) {
    size = answer(server, body);
    if (size == 0) state.SkipWithError("the enumeration failed");
  }
  state.counters["bytes"] = static_cast<double>(size);
}

void of_module(benchmark::State& state) { measure(state, module_with); }
void of_plain(benchmark::State& state) { measure(state, plain_with); }

double kilobytes(const char* what) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(what)) return std::strtod(line.c_str() + line.find(':') + 1, nullptr);
  return 0;
}

// The memory that an enumeration takes in addition to what was there before.
void growth(benchmark::State& state) {
  RecordServer& server = module_with(static_cast<unsigned long>(state.range(0)));
  const std::string body = bench::enumeration();
  answer(server, body);
  malloc_trim(0);
  const double resident = kilobytes("VmRSS");
  std::ofstream("/proc/self/clear_refs") << "5";  // the peak begins anew
  for (auto _ : state)
    if (answer(server, body) == 0) state.SkipWithError("the enumeration failed");
  state.counters["enumeration_bytes"] = (kilobytes("VmHWM") - resident) * 1024;
}

}  // namespace

BENCHMARK(of_module)->Name("module")->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(of_plain)->Name("plain")->Arg(10'000)->Unit(benchmark::kMillisecond);
BENCHMARK(growth)->RangeMultiplier(10)->Range(10, 100'000)->Unit(benchmark::kMillisecond);

int main(int count, char** words) {
  const bench::Workspace workspace;
  benchmark::Initialize(&count, words);
  benchmark::RunSpecifiedBenchmarks();
}
