/* The drives of the measurements and of the soak test: answer what a self-test asks for, at once.
 * No two logs are the same, so that a test is over with the first log that is read after it was
 * started. A device with "failing" or "aborted" in its name has a test that ends so.
 */
#define _GNU_SOURCE
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#define HEAD                                                           \
  "smartctl 7.3 2022-02-28 r5338 [x86_64-linux-6.1.0] (local build)\n" \
  "Copyright (C) 2002-22, Bruce Allen, Christian Franke, www.smartmontools.org\n\n"

static const char kInformation[] = HEAD
    "=== START OF INFORMATION SECTION ===\n"
    "Device Model:     QEMU HARDDISK\n"
    "Serial Number:    QM00001\n"
    "Firmware Version: 2.5+\n"
    "User Capacity:    1,000,204,886,016 bytes [1.00 TB]\n"
    "Sector Size:      512 bytes logical/physical\n"
    "Device is:        Not in smartctl database 7.3/5319\n"
    "ATA Version is:   ATA/ATAPI-7, ATA/ATAPI-5 published, ANSI NCITS 340-2000\n"
    "SMART support is: Available - device has SMART capability.\n"
    "SMART support is: Enabled\n\n";

static const char kStarted[] = HEAD
    "=== START OF OFFLINE IMMEDIATE AND SELF-TEST SECTION ===\n"
    "Sending command: \"Execute SMART Short self-test routine immediately in off-line mode\".\n"
    "Drive command \"Execute SMART Short self-test routine immediately in off-line mode\" "
    "successful.\n"
    "Testing has begun.\n"
    "Please wait 2 minutes for test to complete.\n"
    "Use smartctl -X to abort test.\n";

static const char kLogHead[] = HEAD
    "=== START OF READ SMART DATA SECTION ===\n"
    "SMART Self-test log structure revision number 1\n"
    "Num  Test_Description    Status                  Remaining  LifeTime(hours)  "
    "LBA_of_first_error\n";

static int answer(const char* text, size_t size) {
  return write(STDOUT_FILENO, text, size) == (ssize_t)size ? 0 : 1;
}

static const char* result_of(const char* device) {
  if (strstr(device, "failing")) return "Completed: read failure      ";
  if (strstr(device, "aborted")) return "Aborted by host              ";
  return "Completed without error      ";
}

static int answer_log(const char* device) {
  char text[4096];
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  char* end = stpcpy(text, kLogHead);
  for (int number = 1; number <= 21; ++number)
    end += sprintf(end,
                   "#%2d  Short offline       %s 00%%  %7ld%09ld         "
                   "-\n",
                   number, result_of(device), (long)now.tv_sec % 10000000, now.tv_nsec);
  return answer(text, (size_t)(end - text));
}

int main(int count, char** words) {
  if (count > 1 && strcmp(words[1], "-i") == 0)
    return answer(kInformation, sizeof kInformation - 1);
  if (count > 1 && strcmp(words[1], "-t") == 0) return answer(kStarted, sizeof kStarted - 1);
  if (count > 1 && strcmp(words[1], "-l") == 0) return answer_log(words[count - 1]);
  return 1;
}
