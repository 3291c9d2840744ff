#include "tests/drivetest/standin/answer.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/drivetest/standin/self_test.h"

enum StartAnswer next_start(struct StandInDrive* drive, int64_t now, int64_t* code) {
  static const struct {
    const char* word;
    enum StartAnswer answer;
  } words[] = {
      {"ok", StartTaken},
      {"nothing", StartIgnored},
      {"busy", StartBusy},
      {"unsupported", StartUnsupported},
      {"aborted", StartAborted},
      {"eio", StartEio},
      {"begun_eio", StartTakenWithEio},
  };
  ++drive->starts;
  if (drive->rival != 0 && !drive->is_testing) self_test_begin(drive, drive->rival, now);
  drive->rival = 0;
  enum StartAnswer answer = StartCode;
  *code = strtoll(drive->start, NULL, 0);
  for (size_t i = 0; i < sizeof words / sizeof words[0]; ++i)
    if (strcmp(drive->start, words[i].word) == 0) answer = words[i].answer;
  if (drive->refusals > 0 && --drive->refusals == 0) {
    snprintf(drive->start, TextSize, "ok");
    drive->refusals = -1;
  }
  return answer;
}

int said_of(enum StartAnswer answer) {
  if (answer != StartTakenWithEio) return 0;
  errno = EIO;
  return -1;
}

int check_condition(struct sg_io_hdr* command, int key, int code, int qualifier) {
  uint8_t sense[18] = {0x70, 0, (uint8_t)key, 0, 0, 0, 0, 10};
  sense[12] = (uint8_t)code;
  sense[13] = (uint8_t)qualifier;
  command->status = 2;
  command->masked_status = 1;
  command->driver_status = 8;
  command->info |= SG_INFO_CHECK;
  const unsigned room = command->mx_sb_len;
  command->sb_len_wr = (unsigned char)(room < sizeof sense ? room : sizeof sense);
  memcpy(command->sbp, sense, command->sb_len_wr);
  return 0;
}

int give(struct sg_io_hdr* command, const uint8_t* data, size_t size) {
  if (command->dxferp == NULL || command->dxfer_direction != SG_DXFER_FROM_DEV) return 0;
  const size_t part = command->dxfer_len < size ? command->dxfer_len : size;
  memcpy(command->dxferp, data, part);
  command->resid = (int)(command->dxfer_len - part);
  return 0;
}

void put_le(uint8_t* place, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) place[i] = (uint8_t)(value >> (8 * i));
}

void put_be(uint8_t* place, uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) place[i] = (uint8_t)(value >> (8 * (bytes - 1 - i)));
}

void put_text(uint8_t* place, const char* text, size_t size) {
  memset(place, ' ', size);
  const size_t length = strlen(text);
  memcpy(place, text, length < size ? length : size);
}
