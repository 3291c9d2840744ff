#include "tests/drivetest/standin/self_test.h"

#include <string.h>

static int64_t minutes_of(const struct StandInDrive* drive) {
  switch (drive->test & 0x7f) {
    case TestLong:
      return drive->long_minutes;
    case TestConveyance:
      return drive->conveyance_minutes;
    default:
      return drive->short_minutes;
  }
}

/* How long the whole test takes, if nothing ends it before. */
static int64_t duration(const struct StandInDrive* drive) {
  const int64_t seconds = drive->seconds > 0 ? drive->seconds : minutes_of(drive) * 60;
  return seconds > 0 ? seconds : 1;
}

int64_t self_test_done(const struct StandInDrive* drive, int64_t now) {
  const int64_t elapsed = now - drive->test_started - drive->start_delay;
  int64_t done = elapsed < 0 ? 0 : elapsed * WholeTest / duration(drive);
  const int64_t most = drive->stuck_at >= 0 ? drive->stuck_at * WholeTest / 100 : WholeTest - 1;
  return done < most ? done : most;
}

int64_t self_test_tenths(const struct StandInDrive* drive, int64_t now) {
  const int64_t tenths = (WholeTest - self_test_done(drive, now)) * 10 / WholeTest;
  return tenths < 9 ? tenths : 9;
}

bool self_test_shows(const struct StandInDrive* drive, int64_t now) {
  return drive->is_testing && now >= drive->test_started + drive->start_delay;
}

int64_t power_on_hours(const struct StandInDrive* drive, int64_t now) {
  return (drive->power_on_minutes * 60 + now) / 3600;
}

int64_t log_capacity(const struct StandInDrive* drive) { return is_ata(drive) ? 21 : 20; }

static int64_t hours_for_log(const struct StandInDrive* drive, int64_t now) {
  if (drive->log_hours >= 0) return drive->log_hours;
  return power_on_hours(drive, now) + drive->log_hours_offset;
}

static void push(struct StandInDrive* drive, struct LogRow row) {
  const int64_t capacity = log_capacity(drive);
  if (drive->log_size == capacity) drive->rolled = (drive->rolled + 1) % capacity;
  if (drive->log_size < capacity) ++drive->log_size;
  memmove(&drive->log[1], &drive->log[0], (size_t)(drive->log_size - 1) * sizeof row);
  drive->log[0] = row;
}

/* By the host, a reset, a format and the like: not by the drive's own finding. */
static bool is_abortion(const struct StandInDrive* drive, int64_t result) {
  if (is_nvme(drive)) return (result >= 1 && result <= 4) || result == 8 || result == 9;
  return result == ResultAborted || result == ResultReset;
}

static bool leaves_row(const struct StandInDrive* drive, int64_t result) {
  if (strcmp(drive->rows, "none") == 0) return false;
  return strcmp(drive->rows, "not_aborted") != 0 || !is_abortion(drive, result);
}

void self_test_end(struct StandInDrive* drive, int64_t result, int64_t now) {
  if (!drive->is_testing) return;
  struct LogRow row = {.type = drive->test, .result = result, .lba = -1};
  row.remaining = result == ResultPassed ? 0 : self_test_tenths(drive, now);
  row.hours = hours_for_log(drive, now);
  if (result == drive->result && result != ResultPassed) {
    row.lba = drive->result_lba;
    row.segment = drive->result_segment;
    row.sense = drive->result_sense;
  }
  drive->status = result << 4 | row.remaining;
  drive->is_testing = 0;
  if (leaves_row(drive, result)) push(drive, row);
}

void self_test_advance(struct StandInDrive* drive, int64_t now) {
  if (!drive->is_testing) return;
  const int64_t end =
      drive->test_started + drive->start_delay + duration(drive) * drive->ends_at / 100;
  const bool ends = drive->stuck_at < 0 && now >= end;
  /* Firmware of a USB bridge stops the drive when the host asks nothing for this long. */
  const int64_t rest = drive->last_command + drive->spins_down;
  if (drive->spins_down > 0 && now >= rest && !(ends && end <= rest))
    self_test_end(drive, ResultAborted, rest);
  else if (ends)
    self_test_end(drive, drive->result, end);
}

void self_test_begin(struct StandInDrive* drive, int64_t type, int64_t now) {
  ++drive->tests_begun;
  drive->test = type;
  drive->is_testing = 1;
  drive->test_started = now;
}

void self_test_reset(struct StandInDrive* drive, int64_t now) {
  if (is_nvme(drive) && drive->test == TestLong) return;
  self_test_end(drive, ResultReset, now);
}

void self_test_power_loss(struct StandInDrive* drive, int64_t now) {
  if (drive->power_cycles >= 0) ++drive->power_cycles;
  if (!drive->is_testing || (is_nvme(drive) && drive->test == TestLong)) return;
  if (strcmp(drive->power_loss, "row") == 0) {
    self_test_reset(drive, now);
    return;
  }
  if (strcmp(drive->power_loss, "left") == 0)
    push(drive, (struct LogRow){.type = drive->test,
                                .result = ResultRunning,
                                .lba = -1,
                                .remaining = self_test_tenths(drive, now),
                                .hours = hours_for_log(drive, now)});
  if (strcmp(drive->power_loss, "forgotten") != 0)
    drive->status = ResultReset << 4 | self_test_tenths(drive, now);
  drive->is_testing = 0;
}

int64_t shown_log(const struct StandInDrive* drive, int64_t now, struct LogRow* rows) {
  int64_t count = 0;
  const bool is_running =
      self_test_shows(drive, now) && !is_nvme(drive) && strcmp(drive->running_row, "no") != 0;
  if (is_running) {
    rows[count] = (struct LogRow){.type = drive->test, .result = ResultRunning, .lba = -1};
    rows[count].remaining = self_test_tenths(drive, now);
    /* A SCSI drive gives hour 0 to a test that runs, if it keeps to the standard. */
    if (is_ata(drive) || strcmp(drive->running_row, "hours") == 0)
      rows[count].hours = hours_for_log(drive, now);
    ++count;
  }
  for (int64_t i = 0; i < drive->log_size && count < log_capacity(drive); ++i)
    rows[count++] = drive->log[i];
  return count;
}
