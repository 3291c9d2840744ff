// How fast the readers of text and tables from outside are, in bytes per second: SMBIOS structures
// (a look for the last one of a full table), the message file, date-times of the framework and of
// the object manager, object paths.
#include <benchmark/benchmark.h>

#include <iterator>

#include "bench/workspace.h"
#include "broker/date_time.h"
#include "broker/object_path.h"
#include "platform/framework/datetime.h"
#include "platform/smbios/smbios_table.h"
#include "platform/smbios/test_table.h"
#include "results/TDiagnosticResultParser.h"

namespace {

// Reads the bytes once in each round.
template <class Read>
void measure(benchmark::State& state, std::size_t bytes, Read read) {
  while (state.KeepRunning())
    if (!read()) state.SkipWithError("what was to be read is wrong");
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// Memory devices with their strings, as a server has them, and the structure that ends a table.
void smbios_table(benchmark::State& state) {
  smbios::Table table;
  const auto add = [&](const smbios::Table& one) {
    table.insert(table.end(), one.begin(), one.end());
  };
  for (int i = 0; i < 60; ++i) {
    using namespace std::string_literals;
    add(smbios::structure(17, std::string(88, '\1'),
                          "DIMM A1\0BANK 0\0Manufacturer\0Serial\0Part number\0\0"s));
  }
  add(smbios::structure(127, "", std::string(2, '\0')));
  measure(state, table.size(),
          [&] { return smbios::find_structure(table, 0, 127).error == SmbiosOk; });
}
BENCHMARK(smbios_table);

void message_file(benchmark::State& state) {
  std::ifstream file(HDDTEST_MESSAGE_FILE, std::ios::binary);
  std::string text(std::istreambuf_iterator<char>(file), {});
  measure(state, text.size(), [&] {
    TDiagnosticResultParser parser;
    parser.Parse(text.data());
    return !parser.getResultMsgs().empty();
  });
}
BENCHMARK(message_file);

constexpr std::string_view kTimeStamp = "20240131120000.000000+060";

void date_time(benchmark::State& state) {
  measure(state, kTimeStamp.size(),
          [] { return ovk_cimple::Datetime::parse(kTimeStamp)->utc_offset_minutes() == 60; });
}
BENCHMARK(date_time);

void manager_date_time(benchmark::State& state) {
  measure(state, kTimeStamp.size(), [] {
    return broker::is_datetime(kTimeStamp) && broker::datetime_microseconds(kTimeStamp) > 0;
  });
}
BENCHMARK(manager_date_time);

void object_path(benchmark::State& state) {
  constexpr std::string_view kPath =
      "root/cimv2:KAVRO_DiskDrive.CreationClassName=\"KAVRO_DiskDrive\",DeviceID=\"/dev/sda\","
      "SystemCreationClassName=\"KAVRO_ComputerSystem\",SystemName=\"host.example.org\"";
  measure(state, kPath.size(), [&] { return broker::ObjectPath::parse(kPath).keys.size() == 4; });
}
BENCHMARK(object_path);

}  // namespace

BENCHMARK_MAIN();
