// Which tests of a drive tell whether it has failed, however many there are.
#include <algorithm>
#include <optional>
#include <tuple>

#include "drivetest/database.h"
#include "drivetest/history.h"
#include "drivetest/history_rows.h"
#include "drivetest/outcome.h"

namespace drivetest {

namespace {

// The newest test of the kind with that outcome.
std::optional<std::int64_t> newest_with(Database& database, std::int64_t drive, Outcome outcome,
                                        std::optional<TestKind> kind) {
  const std::optional<std::string_view> name = kind ? std::optional(name_of(*kind)) : std::nullopt;
  Query query = database.query(
      "SELECT number FROM tests WHERE drive = ? AND outcome = ? AND kind IS ?"
      " ORDER BY recorded DESC, number DESC LIMIT 1",
      drive, name_of(outcome), name);
  if (!query.step()) return std::nullopt;
  return query.next_integer();
}

bool is_newer(const KeptTest& one, const KeptTest& other) {
  return std::tie(one.row.recorded, one.row.number) >
         std::tie(other.row.recorded, other.row.number);
}

}  // namespace

std::vector<KeptTest> History::telling_of_failures(std::string_view drive) {
  std::vector<std::optional<TestKind>> kinds = {std::nullopt};
  kinds.insert(kinds.end(), kTestKinds.begin(), kTestKinds.end());
  std::vector<KeptTest> tests;
  read([&] {
    tests.clear();
    const auto known = find_drive(*database_, options_.host.machine_id, drive);
    if (!known) return;
    for (const Outcome outcome : {Outcome::Failed, Outcome::Passed})
      for (const std::optional<TestKind>& kind : kinds)
        if (const auto number = newest_with(*database_, *known, outcome, kind))
          tests.push_back(read_known_test(*database_, *number));
  });
  std::sort(tests.begin(), tests.end(), is_newer);
  return tests;
}

}  // namespace drivetest
