/* A drive that the stand-in plays: what it is, how it behaves, and what it does at the moment. It
 * is a text file with a line for each field (README.md lists them), so that a test can write and
 * read it. */
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

enum { MaxRows = 21, TextSize = 160, PathSize = 4096 };

/* Codes of tests. Short and long have the same in all three protocols. */
enum { TestOffline = 0, TestShort = 1, TestLong = 2, TestConveyance = 3, TestSelective = 4 };

enum { ResultPassed = 0, ResultAborted = 1, ResultReset = 2, ResultRunning = 15 };

/* In the place of a command's number: one that begins a test, one that ends it, and the end of what
 * a tool wanted. */
enum { HoldAtStart = -1, HoldAtClose = -2, HoldAtStop = -3 };

/* A row of the drive's own log. */
struct LogRow {
  int64_t type;
  int64_t result;
  int64_t remaining; /* ATA: tenths */
  int64_t hours;     /* of the drive's life, before the log cuts them to its width */
  int64_t lba;       /* -1: none */
  int64_t segment;
  int64_t sense; /* SCSI: key, code and qualifier; NVMe: 0, status code type, status code; a byte
                    each */
};

typedef char Text[TextSize];

struct StandInDrive {
  /* What it is. */
  Text protocol, nodes, vendor, model, serial, firmware, wwn, nguid, usb, usb_serial, bridge;
  int64_t size, rotational, nameless, namespaces;
  /* What it can do. */
  Text tests, takes; /* what it says that it can, and what it does besides */
  int64_t short_minutes, long_minutes, conveyance_minutes, has_log;
  /* How it does it. */
  Text start, rows, running_row, power_loss;
  int64_t result, result_lba, result_segment, result_sense, seconds, ends_at, stuck_at,
      stays_at_end, start_delay, refusals, rival, spins_down, stale_completion, log_nsid_all_only;
  int64_t power_on_minutes, power_cycles, log_hours, log_hours_offset, power_mode, health;
  /* How it answers. hold_in is the number of a command, or one of these. */
  int64_t slow, haste, open_errno, fail_in, fail_for, fail_errno, hold_in;
  /* What it does, and what it was asked. */
  int64_t test, is_testing, test_started, status, rolled, last_command;
  int64_t commands, looks, starts, tests_begun, aborts, woken;

  struct LogRow log[MaxRows]; /* newest first */
  int64_t log_size;
};

/* False where the file cannot be read or holds a line that is none; `why` is then the reason, of
 * PathSize bytes. Fields that the file does not name have their defaults. */
bool drive_read(const char* path, struct StandInDrive* drive, char* why);
/* Replaces the file at once or not at all. */
bool drive_write(const char* path, const struct StandInDrive* drive);
/* Sets one field by its name. */
bool drive_set(struct StandInDrive* drive, const char* name, const char* value);

/* Prints into `path`, of PathSize bytes. Ends the process when it is longer. */
__attribute__((format(printf, 2, 3))) void make_path(char* path, const char* format, ...);

/* Whether the words of a text, parted by blanks, hold this one. */
bool has_word(const char* text, const char* word);
bool is_nvme(const struct StandInDrive* drive);
bool is_ata(const struct StandInDrive* drive);
