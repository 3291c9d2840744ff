#include "drivetest/test_row.h"

#include <algorithm>
#include <array>

#include "drivetest/name_table.h"

namespace drivetest {

namespace {

constexpr NameTable<Source, 3> kSources = {
    {{Source::Library, "hddtest"}, {Source::Module, "module"}, {Source::Other, "other"}}};

// Whether the code may have meant the outcome when the test was kept. What the history knows of a
// drive is what it said last: it may have been reached as a SCSI drive meanwhile, by a bridge or by
// the type that a user gave.
bool may_mean(Protocol protocol, int code, Outcome outcome) {
  constexpr std::array kProtocols = {Protocol::Ata, Protocol::Scsi, Protocol::Nvme};
  return std::any_of(kProtocols.begin(), kProtocols.end(), [&](Protocol spoken) {
    const bool may_be_spoken = spoken == protocol || spoken == Protocol::Scsi ||
                               protocol == Protocol::Scsi || protocol == Protocol::Unknown;
    const auto meaning = result_meaning(spoken, code);
    return may_be_spoken && meaning && meaning->outcome == outcome;
  });
}

}  // namespace

std::string_view name_of(Source source) { return name_in(kSources, source); }
std::optional<Source> source_named(std::string_view name) { return named_in(kSources, name); }

std::optional<std::chrono::seconds> TestRow::duration() const {
  if (!started || !ended || *ended < *started) return std::nullopt;
  return *ended - *started;
}

bool TestRow::answers_failure(std::optional<TestKind> failed) const {
  if (outcome != Outcome::Passed || !kind) return false;
  return kind == failed || (kind == TestKind::Long && failed != TestKind::Conveyance);
}

std::string contradiction_in(const KeptTest& test) {
  const auto& [drive, row] = test;
  if (!row.result_code) return {};
  const std::string code = std::to_string(*row.result_code);
  if (!row.outcome) return "outcome is null, but result_code is " + code;
  if (row.outcome == Outcome::Unknown || may_mean(drive.protocol, *row.result_code, *row.outcome))
    return {};
  const auto meaning = result_meaning(drive.protocol, *row.result_code);
  const bool is_told = meaning && meaning->outcome != Outcome::Unknown;
  return "outcome is \"" + std::string(name_of(*row.outcome)) + "\", but result_code " + code +
         (is_told ? " means \"" + std::string(name_of(meaning->outcome)) + '"'
                  : " does not mean that");
}

}  // namespace drivetest
