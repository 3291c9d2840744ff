/* NVMe drives: Identify, Get Log Page and Device Self-test. */
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "tests/drivetest/standin/answer.h"
#include "tests/drivetest/standin/self_test.h"

enum { PageSize = 4096, LogSize = 564, RowSize = 28, RowCount = 20 };
enum {
  InvalidOpcode = 0x4001,
  InvalidField = 0x4002,
  InvalidFieldAskMore = 0x2002,
  CommandAborted = 0x0007,
  TestInProgress = 0x011d,
  InvalidLogPage = 0x0109,
};
enum { AbortTest = 0xf, EveryNamespace = -1 };

static bool can_test(const struct StandInDrive* drive) { return *drive->tests != '\0'; }

static void put_hex(uint8_t* place, const char* hex) {
  for (; hex[0] != '\0' && hex[1] != '\0'; hex += 2) {
    const char digits[] = {hex[0], hex[1], '\0'};
    *place++ = (uint8_t)strtoul(digits, NULL, 16);
  }
}

static void identify_controller(const struct StandInDrive* drive, uint8_t* page) {
  put_le(page, 0x1234, 2);
  put_le(page + 2, 0x1234, 2);
  put_text(page + 4, drive->serial, 20);
  put_text(page + 24, drive->model, 40);
  put_text(page + 64, drive->firmware, 8);
  put_le(page + 78, 1, 2);
  put_le(page + 80, 0x10400, 4);
  put_le(page + 256, can_test(drive) ? 0x17 : 0x07, 2);
  page[259] = 7;
  page[260] = 2;
  page[261] = 2;
  page[262] = 63;
  put_le(page + 266, 353, 2);
  put_le(page + 268, 358, 2);
  put_le(page + 280, (uint64_t)drive->size, 8);
  put_le(page + 316, (uint64_t)drive->long_minutes, 2);
  page[318] = 1;
  put_le(page + 516, (uint64_t)drive->namespaces, 4);
  page[512] = 0x66;
  page[513] = 0x44;
}

static void identify_namespace(const struct StandInDrive* drive, uint8_t* page) {
  for (int i = 0; i < 3; ++i) put_le(page + (size_t)8 * i, (uint64_t)drive->size / 512, 8);
  put_hex(page + 104, drive->nguid);
  put_hex(page + 120, drive->wwn);
  page[130] = 9;
}

static void health_log(const struct StandInDrive* drive, int64_t now, uint8_t* page) {
  page[0] = (uint8_t)drive->health;
  put_le(page + 1, 310, 2);
  page[3] = 100;
  page[4] = 10;
  page[5] = 3;
  put_le(page + 32, 123456, 8);
  put_le(page + 48, 234567, 8);
  put_le(page + 64, 1000, 8);
  put_le(page + 80, 2000, 8);
  put_le(page + 112, 55, 8);
  put_le(page + 128, (uint64_t)power_on_hours(drive, now), 8);
}

static void put_row(uint8_t* place, const struct LogRow* row) {
  place[0] = (uint8_t)(row->type << 4 | row->result);
  place[1] = (uint8_t)row->segment;
  put_le(place + 4, (uint64_t)row->hours, 8);
  if (row->lba >= 0) {
    place[2] |= 0x03; /* namespace and block are valid */
    put_le(place + 12, 1, 4);
    put_le(place + 16, (uint64_t)row->lba, 8);
  }
  if (row->sense != 0) {
    place[2] |= 0x0c;
    place[24] = (uint8_t)(row->sense >> 8);
    place[25] = (uint8_t)row->sense;
  }
}

static void self_test_log(const struct StandInDrive* drive, int64_t now, uint8_t* page) {
  struct LogRow rows[MaxRows + 1];
  const int64_t count = shown_log(drive, now, rows);
  if (self_test_shows(drive, now)) {
    page[0] = (uint8_t)drive->test;
    page[1] = (uint8_t)(self_test_done(drive, now) * 100 / WholeTest);
  } else {
    page[1] = (uint8_t)drive->stale_completion;
  }
  for (int64_t i = 0; i < RowCount; ++i) {
    uint8_t* const place = page + 4 + RowSize * i;
    place[0] = ResultRunning;
    if (i < count) put_row(place, &rows[i]);
  }
}

static int get_log(struct StandInDrive* drive, int64_t now, struct nvme_admin_cmd* command,
                   uint8_t* page) {
  switch (command->cdw10 & 0xff) {
    case 0x01:
      return 0;
    case 0x02:
      health_log(drive, now, page);
      return 0;
    case 0x06:
      if (!can_test(drive) || !drive->has_log) return InvalidField;
      if (drive->log_nsid_all_only && command->nsid != (uint32_t)EveryNamespace)
        return InvalidFieldAskMore;
      ++drive->looks;
      self_test_log(drive, now, page);
      return 0;
    default:
      return InvalidLogPage;
  }
}

static int device_self_test(struct StandInDrive* drive, int64_t now, int type) {
  if (!can_test(drive)) return InvalidOpcode;
  if (type == AbortTest) {
    ++drive->aborts;
    self_test_end(drive, ResultAborted, now);
    return 0;
  }
  int64_t code = 0;
  const enum StartAnswer answer = next_start(drive, now, &code);
  switch (answer) {
    case StartIgnored:
      return 0;
    case StartBusy:
      return TestInProgress;
    case StartUnsupported:
      return InvalidOpcode;
    case StartAborted:
      return CommandAborted;
    case StartEio:
      errno = EIO;
      return -1;
    case StartCode:
      return (int)code;
    case StartTaken:
    case StartTakenWithEio:
      break;
  }
  if (type != TestShort && type != TestLong && type != 0xe) return InvalidField;
  if (drive->is_testing) return TestInProgress;
  self_test_begin(drive, type, now);
  return said_of(answer);
}

/* Gives the part of a page that the command wants; the rest of its buffer is zero. */
static void give_page(struct nvme_admin_cmd* command, const uint8_t* page, uint64_t offset) {
  uint8_t* const buffer = (uint8_t*)(uintptr_t)command->addr;
  if (buffer == NULL) return;
  memset(buffer, 0, command->data_len);
  if (offset >= PageSize) return;
  const uint64_t left = PageSize - offset;
  memcpy(buffer, page + offset, command->data_len < left ? command->data_len : left);
}

int nvme_answer(struct StandInDrive* drive, int64_t now, struct nvme_admin_cmd* command) {
  uint8_t page[PageSize] = {0};
  int status = 0;
  switch (command->opcode) {
    case 0x02:
      status = get_log(drive, now, command, page);
      if (status == 0) give_page(command, page, command->cdw12);
      return status;
    case 0x06:
      if ((command->cdw10 & 0xff) == 1)
        identify_controller(drive, page);
      else if ((command->cdw10 & 0xff) == 0)
        identify_namespace(drive, page);
      else
        return InvalidField;
      give_page(command, page, 0);
      return 0;
    case 0x0a: /* Get Features: those that are asked for are optional */
      return InvalidField;
    case 0x14:
      return device_self_test(drive, now, (int)(command->cdw10 & 0xf));
    default:
      return InvalidOpcode;
  }
}
