#include "drivetest/test_row.h"

#include "drivetest/name_table.h"

namespace drivetest {

namespace {

constexpr NameTable<Source, 3> kSources = {
    {{Source::Library, "hddtest"}, {Source::Module, "module"}, {Source::Other, "other"}}};

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

}  // namespace drivetest
