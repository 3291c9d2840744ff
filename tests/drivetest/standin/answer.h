/* How the drives of each protocol answer a command. What a command changes is in the drive; the
 * caller keeps it. Each returns what ioctl is to return, with errno set when that is -1. */
#pragma once

#include <linux/nvme_ioctl.h>
#include <scsi/sg.h>

#include "tests/drivetest/standin/drive_file.h"

int scsi_answer(struct StandInDrive* drive, int64_t now, struct sg_io_hdr* command);
int nvme_answer(struct StandInDrive* drive, int64_t now, struct nvme_admin_cmd* command);

/* What a SCSI command that carries one for an ATA drive says to it. */
struct AtaCommand {
  uint8_t code, feature, count, lba_low, lba_mid;
};
int ata_answer(struct StandInDrive* drive, int64_t now, const struct AtaCommand* ata,
               struct sg_io_hdr* command);

/* What becomes of a command that starts a test. */
enum StartAnswer {
  StartTaken,
  StartIgnored,
  StartBusy,
  StartUnsupported,
  StartAborted,
  StartEio,
  StartTakenWithEio, /* it begins all the same */
  StartCode
};
/* Counts the command; a refusal that is meant for a number of times is used up. A rival begins its
 * test first. `code` is set for StartCode: a status of NVMe, or sense key, code and qualifier. */
enum StartAnswer next_start(struct StandInDrive* drive, int64_t now, int64_t* code);

/* What ioctl returns for a start that was taken. */
int said_of(enum StartAnswer answer);

/* Ends a command with a sense of this key, code and qualifier. */
int check_condition(struct sg_io_hdr* command, int key, int code, int qualifier);
/* Hands over data; the command says how much of it it wants. */
int give(struct sg_io_hdr* command, const uint8_t* data, size_t size);

void put_le(uint8_t* place, uint64_t value, int bytes);
void put_be(uint8_t* place, uint64_t value, int bytes);
/* Padded with blanks, as drives give their texts. */
void put_text(uint8_t* place, const char* text, size_t size);
