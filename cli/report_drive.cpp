#include "cli/report_drive.h"

#include <algorithm>
#include <numeric>

#include "cli/report_text.h"

namespace cli {

using drivetest::KeptTest;
using drivetest::Outcome;
using drivetest::TestKind;
using drivetest::TestRow;
using drivetest::Time;

namespace {

// Tests that only others start have no kind.
std::size_t place_of(const std::optional<TestKind>& kind) {
  return kind ? static_cast<std::size_t>(*kind) : drivetest::kTestKinds.size();
}

// More of a text than the page shows, but not all of one that a wrong file makes huge.
void shorten(std::string& text) {
  constexpr std::size_t kMostBytes = 4 * (kMostShown + 1);
  if (text.size() <= kMostBytes) return;
  text.resize(kMostBytes);
  text.shrink_to_fit();
}

TestRow shortened(TestRow row) {
  for (std::string* text :
       {&row.drive, &row.host_name, &row.place.device, &row.place.type, &row.cause})
    shorten(*text);
  return row;
}

}  // namespace

std::optional<Time> date_of(const TestRow& row) { return row.ended ? row.ended : row.started; }

void ReportedDrive::add(const KeptTest& test) {
  drive = test.drive;
  for (std::string* text : {&drive.model, &drive.serial_number, &drive.firmware,
                            &drive.world_wide_name, &drive.place.device, &drive.place.type})
    shorten(*text);
  const TestRow& row = test.row;
  heard = std::max({heard, row.recorded, row.looked.value_or(Time{}), row.ended.value_or(Time{})});
  if (row.outcome)
    add_ended(shortened(row));
  else
    running = shortened(row);
}

void ReportedDrive::add_ended(const TestRow& row) {
  const Outcome outcome = *row.outcome;
  ++counts[static_cast<std::size_t>(outcome)];
  if (const auto date = date_of(row)) {
    marks_.push_back({*date, row.kind, outcome});
    if (marks_.size() > kMostMarks) marks_.pop_front();
    Tried& tried = tried_[place_of(row.kind)].emplace(
        tried_[place_of(row.kind)].value_or(Tried{*date, *date}));
    tried = {std::min(tried.first, *date), std::max(tried.last, *date)};
    std::optional<Time>& passed = passed_[place_of(row.kind)];
    if (outcome == Outcome::Passed) passed = std::max(passed.value_or(*date), *date);
  } else {
    ++undated;
  }
  if (outcome == Outcome::Failed) failed_[place_of(row.kind)] = row;
  for (std::optional<TestRow>& failed : failed_)
    if (failed && row.answers_failure(failed->kind)) failed.reset();
  listed_.push_back(row);
  if (listed_.size() > kMostListed) listed_.pop_front();
}

std::size_t ReportedDrive::total() const {
  return std::accumulate(counts.begin(), counts.end(), std::size_t{0});
}

const TestRow* ReportedDrive::failed() const {
  const TestRow* newest = nullptr;
  for (const std::optional<TestRow>& row : failed_)
    if (row && (!newest || row->recorded >= newest->recorded)) newest = &*row;
  return newest;
}

}  // namespace cli
