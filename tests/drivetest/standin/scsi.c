/* SCSI and SAS drives; ATA drives get their commands through these, as the kernel does it. */
#include <errno.h>
#include <stdlib.h>
#include <string.h>

#include "tests/drivetest/standin/answer.h"
#include "tests/drivetest/standin/self_test.h"

enum { MaxReply = 1024, LogRowSize = 20, LogSize = 404 };

static int invalid_field(struct sg_io_hdr* command) { return check_condition(command, 5, 0x24, 0); }
static int invalid_opcode(struct sg_io_hdr* command) {
  return check_condition(command, 5, 0x20, 0);
}

static int inquiry(const struct StandInDrive* drive, const uint8_t* cdb,
                   struct sg_io_hdr* command) {
  uint8_t reply[96] = {0};
  const bool is_page = cdb[1] & 1;
  size_t size = sizeof reply;
  reply[1] = is_page ? cdb[2] : 0;
  if (!is_page) {
    const bool is_plain_ata = is_ata(drive) && *drive->usb == '\0';
    reply[2] = 6;
    reply[3] = 0x12;
    reply[4] = 91;
    reply[7] = 2;
    put_text(reply + 8, is_plain_ata ? "ATA" : drive->vendor, 8);
    put_text(reply + 16, drive->model, 16);
    put_text(reply + 32, drive->firmware, 4);
  } else if (cdb[2] == 0) {
    static const uint8_t pages[] = {0, 0x80, 0x83, 0xb1};
    reply[3] = sizeof pages;
    memcpy(reply + 4, pages, sizeof pages);
    size = 8;
  } else if (cdb[2] == 0x80) {
    const size_t length = strlen(drive->serial) < 64 ? strlen(drive->serial) : 64;
    reply[3] = (uint8_t)length;
    memcpy(reply + 4, drive->serial, length);
    size = 4 + length;
  } else if (cdb[2] == 0x83 && *drive->wwn != '\0') {
    reply[3] = 12;
    reply[4] = 0x61;
    reply[5] = 3;
    reply[7] = 8;
    put_be(reply + 8, strtoull(drive->wwn, NULL, 16), 8);
    size = 16;
  } else if (cdb[2] == 0xb1) {
    reply[3] = 0x3c;
    put_be(reply + 4, drive->rotational ? 7200 : 1, 2);
    reply[7] = 2;
    size = 64;
  } else {
    return invalid_field(command);
  }
  return give(command, reply, size);
}

static int request_sense(const struct StandInDrive* drive, int64_t now, struct sg_io_hdr* command) {
  uint8_t reply[18] = {0x70, 0, 0, 0, 0, 0, 0, 10};
  if (!is_ata(drive) && self_test_shows(drive, now)) {
    reply[2] = 2;
    reply[12] = 4;
    reply[13] = 9;
    reply[15] = 0x80;
    put_be(reply + 16, (uint64_t)(self_test_done(drive, now) * 65536 / WholeTest), 2);
  } else if (!is_ata(drive) && drive->power_mode == 0) {
    reply[12] = 0x5e;
    reply[13] = 0x04; /* standby by command */
  }
  return give(command, reply, sizeof reply);
}

static int read_capacity(const struct StandInDrive* drive, bool is_long,
                         struct sg_io_hdr* command) {
  uint8_t reply[32] = {0};
  const uint64_t last = (uint64_t)drive->size / 512 - 1;
  if (is_long) {
    put_be(reply, last, 8);
    reply[10] = 2;
    return give(command, reply, sizeof reply);
  }
  put_be(reply, last < 0xffffffff ? last : 0xffffffff, 4);
  reply[6] = 2;
  return give(command, reply, 8);
}

static int mode_sense(const struct StandInDrive* drive, const uint8_t* cdb,
                      struct sg_io_hdr* command) {
  uint8_t reply[64] = {0};
  const bool is_short = cdb[0] == 0x1a;
  const size_t head = is_short ? 4 : 8;
  size_t size = head + 12;
  uint8_t* const page = reply + head;
  page[0] = cdb[2] & 0x3f;
  page[1] = 10;
  switch (page[0]) {
    case 0x08: /* caches */
      page[1] = 18;
      page[2] = 4;
      size = head + 20;
      break;
    case 0x0a: /* control: how long the extended test takes */
      put_be(page + 10,
             drive->long_minutes * 60 < 65535 ? (uint64_t)drive->long_minutes * 60 : 65535, 2);
      break;
    case 0x1c: /* exceptions */
      page[0] = 0x9c;
      page[2] = 0x10;
      page[3] = 6;
      break;
    default:
      return invalid_field(command);
  }
  reply[is_short ? 0 : 1] = (uint8_t)(size - (is_short ? 1 : 2));
  return give(command, reply, size);
}

static void self_test_log(const struct StandInDrive* drive, int64_t now, uint8_t* reply) {
  struct LogRow rows[MaxRows + 1];
  const int64_t count = shown_log(drive, now, rows);
  put_be(reply + 2, LogSize - 4, 2);
  for (int64_t i = 0; i < 20; ++i) {
    uint8_t* const place = reply + 4 + LogRowSize * i;
    put_be(place, (uint64_t)i + 1, 2);
    place[2] = 3;
    place[3] = LogRowSize - 4;
    if (i >= count) continue;
    place[4] = (uint8_t)(rows[i].type << 5 | rows[i].result);
    place[5] = (uint8_t)rows[i].segment;
    put_be(place + 6, rows[i].hours < 65535 ? (uint64_t)rows[i].hours : 65535, 2);
    put_be(place + 8, (uint64_t)rows[i].lba, 8);
    put_be(place + 16, (uint64_t)rows[i].sense, 3);
  }
}

static int log_sense(struct StandInDrive* drive, int64_t now, const uint8_t* cdb,
                     struct sg_io_hdr* command) {
  uint8_t reply[LogSize] = {cdb[2] & 0x3f};
  size_t size = LogSize;
  switch (reply[0]) {
    case 0x00: {
      static const uint8_t pages[] = {0, 2, 3, 5, 0x0d, 0x2f, 0x10};
      if (cdb[3] != 0) return invalid_field(command);
      reply[3] = (uint8_t)(sizeof pages - (drive->has_log ? 0 : 1));
      memcpy(reply + 4, pages, reply[3]);
      size = 4 + reply[3];
      break;
    }
    case 0x02:
    case 0x03:
    case 0x05:
      size = 4;
      break;
    case 0x0d: { /* temperature, and the one at which the drive trips */
      static const uint8_t parameters[] = {0, 0, 3, 2, 0, 33, 0, 1, 3, 2, 0, 65};
      reply[3] = sizeof parameters;
      memcpy(reply + 4, parameters, sizeof parameters);
      size = 4 + sizeof parameters;
      break;
    }
    case 0x10:
      if (!drive->has_log) return invalid_field(command);
      ++drive->looks;
      self_test_log(drive, now, reply);
      break;
    case 0x2f:
      reply[3] = 8;
      reply[6] = 3;
      reply[7] = 4;
      reply[8] = drive->health ? 0x5d : 0;
      reply[10] = 33;
      size = 12;
      break;
    default:
      return invalid_field(command);
  }
  return give(command, reply, size);
}

static int begin(struct StandInDrive* drive, int64_t now, int code, struct sg_io_hdr* command) {
  int64_t sense = 0;
  const enum StartAnswer answer = next_start(drive, now, &sense);
  switch (answer) {
    case StartIgnored:
      return 0;
    case StartBusy:
      return check_condition(command, 2, 4, 9);
    case StartUnsupported:
      return invalid_opcode(command);
    case StartAborted:
      return check_condition(command, 0xb, 0, 0);
    case StartEio:
      errno = EIO;
      return -1;
    case StartCode:
      return check_condition(command, (int)(sense >> 16), (int)(sense >> 8 & 0xff),
                             (int)(sense & 0xff));
    case StartTaken:
    case StartTakenWithEio:
      break;
  }
  if (drive->is_testing) return check_condition(command, 2, 4, 9);
  const bool is_short = code == 1 || code == 5;
  if (!has_word(drive->tests, is_short ? "short" : "long")) return invalid_field(command);
  self_test_begin(drive, code, now);
  if (code >= 5) self_test_end(drive, drive->result, now); /* in the foreground: until its end */
  return said_of(answer);
}

static int send_diagnostic(struct StandInDrive* drive, int64_t now, const uint8_t* cdb,
                           struct sg_io_hdr* command) {
  const int code = cdb[1] >> 5;
  if (drive->power_mode == 0) {
    drive->power_mode = 0xff;
    ++drive->woken;
  }
  if (code == 1 || code == 2 || code == 5 || code == 6) return begin(drive, now, code, command);
  if (code != 4) return 0; /* the default test takes no time and leaves no row */
  ++drive->aborts;
  self_test_end(drive, ResultAborted, now);
  return 0;
}

/* ATA PASS-THROUGH, of 12 or 16 bytes. */
static int pass_through(struct StandInDrive* drive, int64_t now, const uint8_t* cdb,
                        struct sg_io_hdr* command) {
  const bool is_long = cdb[0] == 0x85;
  if (!is_ata(drive) || has_word(drive->bridge, "none") ||
      (is_long && has_word(drive->bridge, "sat12")))
    return invalid_opcode(command);
  const struct AtaCommand ata = is_long
                                    ? (struct AtaCommand){cdb[14], cdb[4], cdb[6], cdb[8], cdb[10]}
                                    : (struct AtaCommand){cdb[9], cdb[3], cdb[4], cdb[5], cdb[6]};
  return ata_answer(drive, now, &ata, command);
}

int scsi_answer(struct StandInDrive* drive, int64_t now, struct sg_io_hdr* command) {
  const uint8_t* const cdb = command->cmdp;
  command->status = command->masked_status = 0;
  command->host_status = command->driver_status = 0;
  command->info = 0;
  command->sb_len_wr = 0;
  command->resid = 0;
  command->duration = 1;
  switch (cdb[0]) {
    case 0x00:
    case 0x1b:
      return 0;
    case 0x03:
      return request_sense(drive, now, command);
    case 0x12:
      return inquiry(drive, cdb, command);
    case 0x1a:
    case 0x5a:
      return mode_sense(drive, cdb, command);
    case 0x1d:
      return is_ata(drive) ? invalid_opcode(command) : send_diagnostic(drive, now, cdb, command);
    case 0x25:
      return read_capacity(drive, false, command);
    case 0x4d:
      return is_ata(drive) ? invalid_opcode(command) : log_sense(drive, now, cdb, command);
    case 0x85:
    case 0xa1:
      return pass_through(drive, now, cdb, command);
    case 0x9e:
      return read_capacity(drive, true, command);
    default:
      return invalid_opcode(command);
  }
}
