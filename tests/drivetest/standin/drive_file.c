#include "tests/drivetest/standin/drive_file.h"

#include <errno.h>
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct Field {
  const char* name;
  size_t place;
  const char* text; /* the default of a text; null: the field is a number */
  int64_t number;
};

#define TEXT(name, value) \
  { #name, offsetof(struct StandInDrive, name), value, 0 }
#define NUMBER(name, value) \
  { #name, offsetof(struct StandInDrive, name), NULL, value }
#define ROW(name) \
  { #name, offsetof(struct LogRow, name), NULL, 0 }

static const struct Field kFields[] = {
    TEXT(protocol, "ata"),
    TEXT(nodes, ""),
    TEXT(vendor, "EXAMPLE"),
    TEXT(model, "Example Disk"),
    TEXT(serial, "EX0001"),
    TEXT(firmware, "1.0"),
    TEXT(wwn, ""),
    TEXT(nguid, ""),
    TEXT(usb, ""),
    TEXT(usb_serial, ""),
    TEXT(bridge, ""),
    NUMBER(size, 500107862016),
    NUMBER(rotational, 1),
    NUMBER(nameless, 0),
    NUMBER(namespaces, 1),
    TEXT(tests, "short long conveyance selective"),
    TEXT(takes, ""),
    NUMBER(short_minutes, 2),
    NUMBER(long_minutes, 84),
    NUMBER(conveyance_minutes, 5),
    NUMBER(has_log, 1),
    TEXT(start, "ok"),
    TEXT(rows, "all"),
    TEXT(running_row, "yes"),
    TEXT(power_loss, "row"),
    NUMBER(result, 0),
    NUMBER(result_lba, -1),
    NUMBER(result_segment, 0),
    NUMBER(result_sense, 0),
    NUMBER(seconds, 0),
    NUMBER(ends_at, 100),
    NUMBER(stuck_at, -1),
    NUMBER(stays_at_end, 0),
    NUMBER(start_delay, 0),
    NUMBER(refusals, -1),
    NUMBER(rival, 0),
    NUMBER(spins_down, 0),
    NUMBER(stale_completion, 0),
    NUMBER(log_nsid_all_only, 0),
    NUMBER(power_on_minutes, 600000),
    NUMBER(power_cycles, -1),
    NUMBER(log_hours, -1),
    NUMBER(log_hours_offset, 0),
    NUMBER(power_mode, 255),
    NUMBER(health, 0),
    NUMBER(slow, 0),
    NUMBER(haste, 0),
    NUMBER(open_errno, 0),
    NUMBER(fail_in, 0),
    NUMBER(fail_for, 1),
    NUMBER(fail_errno, EIO),
    NUMBER(hold_in, 0),
    NUMBER(test, 0),
    NUMBER(is_testing, 0),
    NUMBER(test_started, 0),
    NUMBER(status, 0),
    NUMBER(rolled, 0),
    NUMBER(last_command, 0),
    NUMBER(commands, 0),
    NUMBER(looks, 0),
    NUMBER(starts, 0),
    NUMBER(tests_begun, 0),
    NUMBER(aborts, 0),
    NUMBER(woken, 0),
};
static const struct Field kRowFields[] = {
    ROW(type), ROW(result), ROW(remaining), ROW(hours), ROW(lba), ROW(segment), ROW(sense),
};

enum {
  FieldCount = sizeof kFields / sizeof kFields[0],
  RowFieldCount = sizeof kRowFields / sizeof kRowFields[0],
};

static int64_t* number_at(void* object, const struct Field* field) {
  return (int64_t*)((char*)object + field->place);
}

static char* text_at(struct StandInDrive* drive, const struct Field* field) {
  return (char*)drive + field->place;
}

static bool parse(const char* text, int64_t* number) {
  char* end = NULL;
  errno = 0;
  *number = strtoll(text, &end, 0);
  return end != text && *end == '\0' && errno == 0;
}

static bool set_row(struct LogRow* row, char* words) {
  *row = (struct LogRow){.lba = -1};
  for (char *rest = words, *word; (word = strsep(&rest, " ")) != NULL;) {
    if (*word == '\0') continue;
    char* const equals = strchr(word, '=');
    if (equals == NULL) return false;
    *equals = '\0';
    int i = 0;
    while (i < RowFieldCount && strcmp(kRowFields[i].name, word) != 0) ++i;
    if (i == RowFieldCount || !parse(equals + 1, number_at(row, &kRowFields[i]))) return false;
  }
  return true;
}

bool drive_set(struct StandInDrive* drive, const char* name, const char* value) {
  if (strcmp(name, "row") == 0) {
    char words[PathSize];
    if (drive->log_size == MaxRows || strlen(value) >= sizeof words) return false;
    snprintf(words, sizeof words, "%s", value);
    return set_row(&drive->log[drive->log_size++], words);
  }
  for (int i = 0; i < FieldCount; ++i) {
    const struct Field* const field = &kFields[i];
    if (strcmp(field->name, name) != 0) continue;
    if (field->text == NULL) return parse(value, number_at(drive, field));
    if (strlen(value) >= TextSize) return false;
    snprintf(text_at(drive, field), TextSize, "%s", value);
    return true;
  }
  return false;
}

static void set_defaults(struct StandInDrive* drive) {
  memset(drive, 0, sizeof *drive);
  for (int i = 0; i < FieldCount; ++i) {
    if (kFields[i].text == NULL)
      *number_at(drive, &kFields[i]) = kFields[i].number;
    else
      snprintf(text_at(drive, &kFields[i]), TextSize, "%s", kFields[i].text);
  }
}

bool drive_read(const char* path, struct StandInDrive* drive, char* why) {
  set_defaults(drive);
  FILE* const file = fopen(path, "re");
  if (file == NULL) {
    make_path(why, "%s: %s", path, strerror(errno));
    return false;
  }
  char line[PathSize];
  bool is_good = true;
  for (int number = 1; is_good && fgets(line, sizeof line, file) != NULL; ++number) {
    char* const name = line + strspn(line, " \t");
    name[strcspn(name, "\n")] = '\0';
    if (*name == '\0' || *name == '#') continue;
    char* value = name + strcspn(name, " ");
    if (*value != '\0') *value++ = '\0';
    is_good = drive_set(drive, name, value);
    if (!is_good) make_path(why, "%s:%d: not a field, or not its value", path, number);
  }
  fclose(file);
  return is_good;
}

bool drive_write(const char* path, const struct StandInDrive* drive) {
  char other[PathSize];
  make_path(other, "%s.new", path);
  FILE* const file = fopen(other, "we");
  if (file == NULL) return false;
  struct StandInDrive copy = *drive;
  for (int i = 0; i < FieldCount; ++i) {
    if (kFields[i].text == NULL)
      fprintf(file, "%s %" PRId64 "\n", kFields[i].name, *number_at(&copy, &kFields[i]));
    else
      fprintf(file, "%s %s\n", kFields[i].name, text_at(&copy, &kFields[i]));
  }
  for (int64_t row = 0; row < copy.log_size; ++row) {
    fputs("row", file);
    for (int i = 0; i < RowFieldCount; ++i)
      fprintf(file, " %s=%" PRId64, kRowFields[i].name, *number_at(&copy.log[row], &kRowFields[i]));
    fputc('\n', file);
  }
  const bool is_whole = ferror(file) == 0;
  return fclose(file) == 0 && is_whole && rename(other, path) == 0;
}

void make_path(char* path, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int size = vsnprintf(path, PathSize, format, arguments);
  va_end(arguments);
  if (size < 0 || size >= PathSize) abort();
}

bool has_word(const char* text, const char* word) {
  const size_t size = strlen(word);
  for (const char* at = strstr(text, word); at != NULL; at = strstr(at + 1, word))
    if ((at == text || at[-1] == ' ') && (at[size] == ' ' || at[size] == '\0')) return true;
  return false;
}

bool is_nvme(const struct StandInDrive* drive) { return strcmp(drive->protocol, "nvme") == 0; }
bool is_ata(const struct StandInDrive* drive) { return strcmp(drive->protocol, "ata") == 0; }
