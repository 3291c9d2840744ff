#include "tests/drivetest/standin/machine_tree.h"

#include <errno.h>
#include <fcntl.h>
#include <ftw.h>
#include <inttypes.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/drivetest/standin/state.h"

struct Tree {
  const char* folder;
  char root[PathSize];
  int hosts; /* so far */
};

static void make_parents(char* path) {
  for (char* slash = strchr(path + 1, '/'); slash != NULL; slash = strchr(slash + 1, '/')) {
    *slash = '\0';
    mkdir(path, 0755);
    *slash = '/';
  }
}

static void place_in(const struct Tree* tree, const char* path, char* place) {
  make_path(place, "%s%s", tree->root, path);
  make_parents(place);
}

/* A file below `folder`, of one line. */
static void put(const struct Tree* tree, const char* folder, const char* name, const char* format,
                ...) {
  char path[PathSize];
  char place[PathSize];
  make_path(path, "%s/%s", folder, name);
  place_in(tree, path, place);
  FILE* const file = fopen(place, "we");
  if (file == NULL) return;
  va_list arguments;
  va_start(arguments, format);
  vfprintf(file, format, arguments);
  va_end(arguments);
  fputc('\n', file);
  fclose(file);
}

/* A link at `path` to another path of the machine, relative as all links of sysfs are. */
static void put_link(const struct Tree* tree, const char* path, const char* target) {
  char place[PathSize];
  char up[PathSize] = "";
  char relative[PathSize];
  place_in(tree, path, place);
  int depth = 0;
  for (const char* slash = strchr(path + 1, '/'); slash != NULL; slash = strchr(slash + 1, '/'))
    ++depth;
  for (int i = 0; i < depth; ++i) memcpy(up + (size_t)3 * i, "../", 4);
  make_path(relative, "%s%s", up, target + 1);
  if (symlink(relative, place) != 0 && errno != EEXIST) perror(place);
}

static void put_disk(const struct Tree* tree, const struct StandInDrive* drive, const char* place,
                     const char* device, const char* name) {
  char path[PathSize];
  put(tree, place, "size", "%" PRId64, drive->size / 512);
  put(tree, place, "removable", "0");
  put(tree, place, "ro", "0");
  put(tree, place, "hidden", "0");
  put(tree, place, "queue/logical_block_size", "512");
  put(tree, place, "queue/rotational", "%" PRId64, drive->rotational);
  make_path(path, "%s/device", place);
  put_link(tree, path, device);
  make_path(path, "/sys/block/%s", name);
  put_link(tree, path, place);
  make_path(path, "/sys/class/block/%s", name);
  put_link(tree, path, place);
}

/* The device of a SCSI host and all that is above it, as the kernel names them. */
static const char* scsi_place(const struct Tree* tree, const struct StandInDrive* drive, int host,
                              char* place) {
  char device[64];
  snprintf(device, sizeof device, "target%d:0:0/%d:0:0:0", host, host);
  if (*drive->usb != '\0') {
    char port[PathSize];
    make_path(port, "/sys/devices/pci0000:00/0000:00:14.0/usb1/1-%d", host + 1);
    put(tree, port, "idVendor", "%.4s", drive->usb);
    put(tree, port, "idProduct", "%.4s", drive->usb + 5);
    put(tree, port, "bcdDevice", "0100");
    make_path(place, "%s/1-%d:1.0/host%d/%s", port, host + 1, host, device);
    return "usb-storage";
  }
  if (is_ata(drive)) {
    make_path(place, "/sys/devices/pci0000:00/0000:00:1f.2/ata%d/host%d/%s", host + 1, host,
              device);
    return "ahci";
  }
  make_path(place, "/sys/devices/pci0000:00/0000:01:00.0/host%d/port-%d:0/end_device-%d:0/%s", host,
            host, host, device);
  return "mpt3sas";
}

static void put_scsi(struct Tree* tree, const struct StandInDrive* drive, const char* name) {
  const int host = tree->hosts++;
  char place[PathSize];
  char path[PathSize];
  const char* const driver = scsi_place(tree, drive, host, place);
  put(tree, place, "vendor", "%-8.8s",
      is_ata(drive) && *drive->usb == '\0' ? "ATA" : drive->vendor);
  put(tree, place, "model", "%-16.16s", drive->model);
  put(tree, place, "rev", "%-4.4s", drive->firmware);
  put(tree, place, "type", "0");
  put(tree, place, "state", "running");
  if (*drive->wwn != '\0') put(tree, place, "wwid", "naa.%s", drive->wwn);
  /* The page of VPD with the serial number, as it is. That of a bridge is the bridge's own. */
  const char* const serial = *drive->usb == '\0' ? drive->serial : drive->usb_serial;
  if (*serial != '\0')
    put(tree, place, "vpd_pg80", "%c\x80%c%c%s", 0, 0, (int)strlen(serial), serial);
  make_path(path, "/sys/bus/scsi/devices/%d:0:0:0", host);
  put_link(tree, path, place);
  make_path(path, "/sys/class/scsi_host/host%d", host);
  put(tree, path, "proc_name", "%s", driver);
  make_path(path, "%s/block/%s", place, name);
  put_disk(tree, drive, path, place, name);
}

static void put_nvme(const struct Tree* tree, const struct StandInDrive* drive, const char* name) {
  char place[PathSize];
  char path[PathSize];
  char controller[PathSize];
  make_path(controller, "%s", name);
  char* const space = strchr(controller + strlen("nvme"), 'n');
  if (space != NULL) *space = '\0';
  make_path(place, "/sys/devices/pci0000:00/0000:%02x:00.0/nvme/%s",
            2 + (int)strtol(controller + strlen("nvme"), NULL, 10), controller);
  put(tree, place, "model", "%-40.40s", drive->model);
  put(tree, place, "serial", "%-20.20s", drive->serial);
  put(tree, place, "firmware_rev", "%-8.8s", drive->firmware);
  put(tree, place, "transport", "pcie");
  put(tree, place, "state", "live");
  put(tree, place, "cntlid", "1");
  put(tree, place, "subsysnqn", "nqn.2026-01.com.example:%s", drive->serial);
  make_path(path, "/sys/class/nvme/%s", controller);
  put_link(tree, path, place);
  if (space == NULL) return;
  make_path(path, "%s/%s", place, name);
  put(tree, path, "nsid", "1");
  const char* const nguid = drive->nguid;
  if (strlen(nguid) == 32)
    put(tree, path, "nguid", "%.8s-%.4s-%.4s-%.4s-%.12s", nguid, nguid + 8, nguid + 12, nguid + 16,
        nguid + 20);
  const char* const eui = drive->wwn;
  if (strlen(eui) == 16)
    put(tree, path, "eui", "%.2s %.2s %.2s %.2s %.2s %.2s %.2s %.2s", eui, eui + 2, eui + 4,
        eui + 6, eui + 8, eui + 10, eui + 12, eui + 14);
  if (*drive->nguid != '\0')
    put(tree, path, "wwid", "eui.%s", drive->nguid);
  else if (*drive->wwn != '\0')
    put(tree, path, "wwid", "eui.%s", drive->wwn);
  put_disk(tree, drive, path, place, name);
}

/* A link of /dev/disk/by-id; blanks are underscores there. */
static void put_by_id(const struct Tree* tree, const char* node, const char* format, ...) {
  char id[PathSize] = "/dev/disk/by-id/";
  const size_t head = strlen(id);
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(id + head, sizeof id - head, format, arguments);
  va_end(arguments);
  for (char* blank = strchr(id, ' '); blank != NULL; blank = strchr(blank, ' ')) *blank = '_';
  put_link(tree, id, node);
}

static const char* bus_of(const struct StandInDrive* drive) {
  if (*drive->usb != '\0') return "usb";
  return is_ata(drive) ? "ata" : "scsi";
}

static void put_links(const struct Tree* tree, const struct StandInDrive* drive, const char* node) {
  const char* const wwn = drive->wwn;
  if (is_nvme(drive)) {
    if (strchr(node + strlen("/dev/nvme"), 'n') == NULL) return;
    put_by_id(tree, node, "nvme-%s_%s", drive->model, drive->serial);
    if (*wwn != '\0') put_by_id(tree, node, "nvme-eui.%s", wwn);
    return;
  }
  const char* const bus = bus_of(drive);
  if (is_ata(drive))
    put_by_id(tree, node, "%s-%s_%s", bus, drive->model, drive->serial);
  else
    put_by_id(tree, node, "%s-3%s", bus, wwn);
  if (*wwn != '\0') put_by_id(tree, node, "wwn-0x%s", wwn);
}

static bool put_drive(const char* name, void* what) {
  struct Tree* const tree = what;
  struct StandInDrive drive;
  if (!state_load(tree->folder, name, &drive)) return false;
  if (drive.nameless) *drive.wwn = *drive.nguid = '\0';
  for (char *rest = drive.nodes, *node; (node = strsep(&rest, " ")) != NULL;) {
    if (strncmp(node, "/dev/", 5) != 0) continue;
    const char* const short_name = node + strlen("/dev/");
    put(tree, "/dev", short_name, "%s", name);
    put_links(tree, &drive, node);
    if (is_nvme(&drive))
      put_nvme(tree, &drive, short_name);
    else
      put_scsi(tree, &drive, short_name);
  }
  return false;
}

static int remove_one(const char* path, const struct stat* status, int type, struct FTW* place) {
  (void)status;
  (void)type;
  (void)place;
  return remove(path);
}

void machine_tree_make(const char* folder) {
  struct Tree tree = {.folder = folder};
  make_path(tree.root, "%s/machine", folder);
  nftw(tree.root, remove_one, 16, FTW_DEPTH | FTW_PHYS);
  static const char* const folders[] = {"/sys/block/", "/sys/class/block/", "/sys/class/nvme/",
                                        "/sys/class/scsi_host/", "/dev/disk/by-id/"};
  for (size_t i = 0; i < sizeof folders / sizeof folders[0]; ++i) {
    char place[PathSize];
    place_in(&tree, folders[i], place);
  }
  state_each(folder, put_drive, &tree);
}
