// What the tests of the history share: a folder for each, a clock that is set by hand, and drives.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "drivetest/database.h"
#include "drivetest/history.h"

namespace drivetest {

class HistoryCase : public testing::Test {
 protected:
  HistoryCase() {
    std::string name = std::filesystem::temp_directory_path() / "hddtest_history.XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    root_ = name;
    now = Time(std::chrono::seconds(1'800'000'000));  // 2027-01-15T08:00:00Z
  }
  ~HistoryCase() override {
    std::error_code error;
    std::filesystem::remove_all(root_, error);
  }

  std::filesystem::path root() const { return root_; }
  std::filesystem::path folder() const { return root_ / "state"; }
  std::filesystem::path file() const { return folder() / "history.sqlite"; }

  HistoryOptions options(const std::string& machine = "a") const {
    HistoryOptions options;
    options.folder = folder();
    options.host = {std::string(32, machine.front()), "host-" + machine};
    options.clock = [] { return now; };
    return options;
  }

  static Drive drive(unsigned number) {
    Drive drive;
    drive.place = {"/dev/sd" + std::string(1, static_cast<char>('a' + number % 26)), "sat"};
    drive.protocol = Protocol::Ata;
    drive.model = "Example Disk";
    drive.serial_number = "S" + std::to_string(number);
    drive.firmware = "F1";
    drive.size = 1'000'000'000'000;
    return drive;
  }

  static TestRow begun_row(unsigned number = 1) {
    TestRow row;
    row.place = drive(number).place;
    row.kind = TestKind::Short;
    row.test_code = 1;
    row.started = now;
    row.hours_at_start = 100;
    row.power_cycles_at_start = 20;
    return row;
  }

  static TestRow ended_row(std::int64_t number, Outcome outcome = Outcome::Passed) {
    TestRow row = begun_row();
    row.number = number;
    row.ended = now + std::chrono::minutes(2);
    row.outcome = outcome;
    row.cause = "completed without error";
    if (outcome == Outcome::Passed) row.result_code = 0;
    if (outcome == Outcome::Aborted) row.result_code = 1;
    if (outcome == Outcome::Failed) row.result_code = 7;
    row.hours = 100;
    return row;
  }

  static LogEntry entry(std::uint64_t hours) {
    LogEntry entry;
    entry.test_code = 1;
    entry.kind = TestKind::Short;
    entry.hours = hours;
    return entry;
  }

  // Begins and ends a test, and returns its number.
  static std::int64_t tested(History& history, unsigned number) {
    const std::int64_t row = history.begin(drive(number), begun_row(number)).number;
    EXPECT_NE(row, 0);
    EXPECT_TRUE(history.update(ended_row(row)));
    return row;
  }

  // The names of files in the folder that begin so.
  std::size_t count_files(const std::string& beginning) const {
    std::size_t count = 0;
    for (const auto& one : std::filesystem::directory_iterator(folder()))
      count += one.path().filename().string().starts_with(beginning);
    return count;
  }

  // The first column of the first row.
  static std::string text_of(Database& database, std::string_view sql) {
    Query query = database.query(sql);
    EXPECT_TRUE(query.step());
    return query.next_text();
  }
  static std::int64_t number_of(Database& database, std::string_view sql) {
    Query query = database.query(sql);
    EXPECT_TRUE(query.step());
    return query.next_integer();
  }

  inline static Time now;

 private:
  std::filesystem::path root_;
};

}  // namespace drivetest
