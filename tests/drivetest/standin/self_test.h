/* The self-test of a drive, by the stand-in's clock: starts, goes on, ends, and leaves its row. */
#pragma once

#include "tests/drivetest/standin/drive_file.h"

/* Brings the drive up to `now`, in seconds of the clock: a test that is over ends at its own time.
 */
void self_test_advance(struct StandInDrive* drive, int64_t now);

/* Whether the drive shows a running test. It shows none while it takes its time to begin. */
bool self_test_shows(const struct StandInDrive* drive, int64_t now);
/* How much of it is done, of WholeTest. */
enum { WholeTest = 10000000 };
int64_t self_test_done(const struct StandInDrive* drive, int64_t now);
/* Tenths that remain, 9 to 0. */
int64_t self_test_tenths(const struct StandInDrive* drive, int64_t now);

void self_test_begin(struct StandInDrive* drive, int64_t type, int64_t now);
/* Ends the running test with this code. Nothing runs: nothing happens. */
void self_test_end(struct StandInDrive* drive, int64_t result, int64_t now);
/* What a reset and a loss of power do to a running test, by the protocol. */
void self_test_reset(struct StandInDrive* drive, int64_t now);
void self_test_power_loss(struct StandInDrive* drive, int64_t now);

int64_t power_on_hours(const struct StandInDrive* drive, int64_t now);
/* The log as the drive shows it now: with a row for the running test where the drive has one.
 * Returns the number of rows. */
int64_t shown_log(const struct StandInDrive* drive, int64_t now, struct LogRow* rows);
/* How many rows a log of this protocol holds. */
int64_t log_capacity(const struct StandInDrive* drive);
