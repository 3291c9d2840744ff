/* ATA drives: IDENTIFY DEVICE, SMART, READ LOG EXT and CHECK POWER MODE. */
#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/drivetest/standin/answer.h"
#include "tests/drivetest/standin/self_test.h"

enum { BlockSize = 512, StandardRows = 21, ExtendedRows = 19 };
enum { AbortTest = 0x7f, Captive = 0x80 };
static const uint64_t kNoBlock32 = 0xffffffff;

static int aborted(struct sg_io_hdr* command) { return check_condition(command, 0xb, 0, 0); }

/* The sum of all bytes of the block is then 0. */
static void set_checksum(uint8_t* block) {
  uint8_t sum = 0;
  for (int i = 0; i < BlockSize - 1; ++i) sum = (uint8_t)(sum + block[i]);
  block[BlockSize - 1] = (uint8_t)-sum;
}

/* Texts of IDENTIFY DEVICE have the bytes of each word swapped. */
static void put_swapped(uint8_t* place, const char* text, size_t size) {
  uint8_t straight[40];
  put_text(straight, text, size);
  for (size_t i = 0; i < size; i += 2) {
    place[i] = straight[i + 1];
    place[i + 1] = straight[i];
  }
}

static void put_word(uint8_t* block, int word, uint64_t value) {
  put_le(block + (size_t)2 * word, value, 2);
}

static void identify(const struct StandInDrive* drive, uint8_t* block) {
  const uint64_t blocks = (uint64_t)drive->size / BlockSize;
  put_word(block, 0, 0x0040);
  put_swapped(block + 20, drive->serial, 20);
  put_swapped(block + 46, drive->firmware, 8);
  put_swapped(block + 54, drive->model, 40);
  put_word(block, 49, 0x2f00);
  put_le(block + 120, blocks < 0x0fffffff ? blocks : 0x0fffffff, 4);
  put_word(block, 80, 0x01f0);
  put_word(block, 82, 0x346b);
  put_word(block, 83, 0x7d01);
  put_word(block, 85, 0x3469);
  put_word(block, 86, 0xbc01);
  const uint64_t features = *drive->wwn != '\0' ? 0x4163 : 0x4063;
  put_word(block, 84, features);
  put_word(block, 87, features);
  put_le(block + 200, blocks, 8);
  const uint64_t name = strtoull(drive->wwn, NULL, 16);
  for (int i = 0; i < 4; ++i) put_word(block, 108 + i, name >> (48 - 16 * i) & 0xffff);
  put_word(block, 217, drive->rotational ? 7200 : 1);
}

static unsigned capabilities(const struct StandInDrive* drive) {
  unsigned bits = 0x0b;
  if (*drive->tests != '\0') bits |= 0x10;
  if (has_word(drive->tests, "conveyance")) bits |= 0x20;
  if (has_word(drive->tests, "selective")) bits |= 0x40;
  return bits;
}

static void smart_data(struct StandInDrive* drive, int64_t now, uint8_t* block) {
  static const uint8_t attributes[][12] = {
      {5, 0x33, 0, 100, 100}, {9, 0x32, 0, 99, 99}, {194, 0x22, 0, 64, 50, 36}};
  ++drive->looks;
  put_le(block, 16, 2);
  for (int i = 0; i < 3; ++i) memcpy(block + 2 + (size_t)12 * i, attributes[i], 12);
  put_le(block + 2 + 12 + 5, (uint64_t)power_on_hours(drive, now), 4);
  if (drive->power_cycles >= 0) {
    static const uint8_t cycles[] = {12, 0x32, 0, 99, 99};
    memcpy(block + 2 + (size_t)12 * 3, cycles, sizeof cycles);
    put_le(block + 2 + (size_t)12 * 3 + 5, (uint64_t)drive->power_cycles, 4);
  }
  block[362] = 0x82;
  if (self_test_shows(drive, now))
    block[363] = (uint8_t)(0xf0 | self_test_tenths(drive, now));
  else
    block[363] = drive->stays_at_end ? 0xf0 : (uint8_t)drive->status;
  put_le(block + 364, 575, 2);
  block[367] = (uint8_t)capabilities(drive);
  block[368] = 3;
  block[370] = 1;
  block[372] = (uint8_t)drive->short_minutes;
  const bool is_long = drive->long_minutes > 254;
  block[373] = is_long ? 0xff : (uint8_t)drive->long_minutes;
  block[374] = (uint8_t)drive->conveyance_minutes;
  put_le(block + 375, is_long ? (uint64_t)drive->long_minutes : 0, 2);
}

static void thresholds(uint8_t* block) {
  put_le(block, 16, 2);
  block[2] = 5;
  block[3] = 10;
  block[14] = 9;
  block[26] = 194;
}

static uint8_t status_of(const struct LogRow* row) {
  return (uint8_t)(row->result << 4 | row->remaining);
}

/* Both logs are rings, in which the newest row is at the place that an index names. */
static void standard_log(const struct LogRow* rows, int64_t count, int64_t rolled, uint8_t* block) {
  put_le(block, 1, 2);
  if (count == 0) return;
  const int64_t newest = count < StandardRows ? count - 1 : (count - 1 + rolled) % StandardRows;
  block[508] = (uint8_t)(newest + 1);
  for (int64_t i = 0; i < count; ++i) {
    uint8_t* const place = block + 2 + 24 * ((newest - i + StandardRows) % StandardRows);
    place[0] = (uint8_t)rows[i].type;
    place[1] = status_of(&rows[i]);
    put_le(place + 2, (uint64_t)rows[i].hours, 2);
    const bool has_block = rows[i].lba >= 0 && (uint64_t)rows[i].lba < kNoBlock32;
    put_le(place + 5, has_block ? (uint64_t)rows[i].lba : kNoBlock32, 4);
  }
}

static void extended_log(const struct LogRow* rows, int64_t count, uint8_t* block) {
  block[0] = 1;
  if (count > ExtendedRows) count = ExtendedRows;
  put_le(block + 2, (uint64_t)count, 2);
  for (int64_t i = 0; i < count; ++i) {
    uint8_t* const place = block + 4 + 26 * (count - 1 - i);
    place[0] = (uint8_t)rows[i].type;
    place[1] = status_of(&rows[i]);
    put_le(place + 2, (uint64_t)rows[i].hours, 2);
    put_le(place + 5, (uint64_t)rows[i].lba, 6);
  }
}

/* Some drives show the test that runs in the extended log only. */
static int64_t shown_ata_log(const struct StandInDrive* drive, int64_t now, bool is_extended,
                             struct LogRow* rows) {
  struct StandInDrive shown = *drive;
  if (!is_extended && strcmp(drive->running_row, "extended") == 0)
    snprintf(shown.running_row, sizeof shown.running_row, "no");
  return shown_log(&shown, now, rows);
}

/* SMART READ LOG, or READ LOG EXT: the self-test log has another number and form in each. */
static bool read_log(struct StandInDrive* drive, int64_t now, int log, bool is_extended,
                     uint8_t* block) {
  struct LogRow rows[MaxRows + 1];
  const int64_t count = shown_ata_log(drive, now, is_extended, rows);
  if (log == 0) {
    put_le(block, 1, 2);
    block[2] = is_extended ? 0 : 1;
    block[12] = 1;
    block[is_extended ? 14 : 18] = 1;
  } else if (log == (is_extended ? 7 : 6) && drive->has_log) {
    ++drive->looks;
    if (is_extended)
      extended_log(rows, count, block);
    else
      standard_log(rows, count, drive->rolled, block);
    set_checksum(block);
  } else if ((log == 1 || log == 9) && !is_extended) { /* errors, selective tests: none */
    block[0] = 1;
    set_checksum(block);
  } else {
    return false;
  }
  return true;
}

static bool can_start(const struct StandInDrive* drive, int type) {
  static const char* const names[] = {NULL, "short", "long", "conveyance", "selective"};
  const int number = type & 0x7f;
  if (number < TestShort || number > TestSelective) return false;
  return has_word(drive->tests, names[number]) || has_word(drive->takes, names[number]);
}

static int execute(struct StandInDrive* drive, int64_t now, int type, struct sg_io_hdr* command) {
  if (type == AbortTest) {
    ++drive->aborts;
    self_test_end(drive, ResultAborted, now);
    return 0;
  }
  if (type == TestOffline) return 0;
  int64_t code = 0;
  const enum StartAnswer answer = next_start(drive, now, &code);
  switch (answer) {
    case StartIgnored:
      return 0;
    case StartBusy:
      errno = EBUSY;
      return -1;
    case StartUnsupported:
      return check_condition(command, 5, 0x20, 0);
    case StartAborted:
      return aborted(command);
    case StartEio:
      errno = EIO;
      return -1;
    case StartCode:
      return check_condition(command, (int)(code >> 16), (int)(code >> 8 & 0xff),
                             (int)(code & 0xff));
    case StartTaken:
    case StartTakenWithEio:
      break;
  }
  if (!can_start(drive, type)) return aborted(command);
  self_test_end(drive, ResultAborted, now); /* a new test ends the older one */
  self_test_begin(drive, type, now);
  if (type & Captive) self_test_end(drive, drive->result, now);
  return said_of(answer);
}

/* Registers of the drive, which the host asked for, in a descriptor of the sense. */
static int registers(const struct StandInDrive* drive, int count, int lba_mid, int lba_high,
                     struct sg_io_hdr* command) {
  if (has_word(drive->bridge, "no_registers")) return 0;
  uint8_t sense[22] = {0x72, 1, 0, 0x1d, 0, 0, 0, 14, 9, 12};
  sense[13] = (uint8_t)count;
  sense[17] = (uint8_t)lba_mid;
  sense[19] = (uint8_t)lba_high;
  sense[21] = 0x50;
  command->status = 2;
  command->masked_status = 1;
  command->driver_status = 8;
  command->sb_len_wr = sizeof sense < command->mx_sb_len ? sizeof sense : command->mx_sb_len;
  memcpy(command->sbp, sense, command->sb_len_wr);
  return 0;
}

static int smart(struct StandInDrive* drive, int64_t now, const struct AtaCommand* ata,
                 struct sg_io_hdr* command) {
  uint8_t block[BlockSize] = {0};
  switch (ata->feature) {
    case 0xd0:
      smart_data(drive, now, block);
      set_checksum(block);
      return give(command, block, sizeof block);
    case 0xd1:
      thresholds(block);
      set_checksum(block);
      return give(command, block, sizeof block);
    case 0xd4:
      return execute(drive, now, ata->lba_low, command);
    case 0xd5:
      if (!read_log(drive, now, ata->lba_low, false, block)) return aborted(command);
      return give(command, block, sizeof block);
    case 0xda:
      return drive->health ? registers(drive, 0, 0xf4, 0x2c, command)
                           : registers(drive, 0, 0x4f, 0xc2, command);
    case 0xd2: /* autosave */
    case 0xd6: /* writing a log */
    case 0xd8: /* enabling */
    case 0xd9: /* disabling */
    case 0xdb: /* automatic off-line collection */
      return 0;
    default:
      return aborted(command);
  }
}

static void wake(struct StandInDrive* drive) {
  if (drive->power_mode != 0) return;
  drive->power_mode = 0xff;
  ++drive->woken;
}

int ata_answer(struct StandInDrive* drive, int64_t now, const struct AtaCommand* ata,
               struct sg_io_hdr* command) {
  uint8_t block[BlockSize] = {0};
  switch (ata->code) {
    case 0xec:
      identify(drive, block);
      return give(command, block, sizeof block);
    case 0xb0:
      wake(drive);
      return smart(drive, now, ata, command);
    case 0x2f:
      wake(drive);
      if (!read_log(drive, now, ata->lba_low, true, block)) return aborted(command);
      return give(command, block, sizeof block);
    case 0xe5:
      return registers(drive, (int)drive->power_mode, 0, 0, command);
    default:
      return aborted(command);
  }
}
