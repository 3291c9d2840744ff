#include "drivetest/faulty_file_system.h"

#include <unistd.h>

#include <new>

namespace drivetest {

namespace {

FaultPlan plan;
int calls = 0;
bool is_unsynchronised = false;

// SQLite's usual file object follows this one in memory.
struct File {
  sqlite3_file base;
  bool is_log;
};

sqlite3_vfs* usual() { return sqlite3_vfs_find("unix"); }
sqlite3_file* real(sqlite3_file* file) {
  return reinterpret_cast<sqlite3_file*>(reinterpret_cast<File*>(file) + 1);
}
const sqlite3_io_methods& methods_of(sqlite3_file* file) { return *real(file)->pMethods; }

bool is_due() {
  ++calls;
  switch (plan.kind) {
    case FaultPlan::Kind::None:
      return false;
    case FaultPlan::Kind::Kill:
    case FaultPlan::Kind::Fail:
      return calls == plan.at;
    case FaultPlan::Kind::Full:
      return calls >= plan.at;
  }
  return false;
}

// What a call returns instead of being done.
int fail(int code) {
  if (plan.kind == FaultPlan::Kind::Kill) _exit(kKilled);
  return plan.kind == FaultPlan::Kind::Full ? SQLITE_FULL : code;
}

int close_file(sqlite3_file* file) { return methods_of(file).xClose(real(file)); }
int read_file(sqlite3_file* file, void* bytes, int size, sqlite3_int64 place) {
  return methods_of(file).xRead(real(file), bytes, size, place);
}
int write_file(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 place) {
  if (is_due()) {
    if (plan.kind == FaultPlan::Kind::Kill)
      methods_of(file).xWrite(real(file), bytes, size / 2, place);
    return fail(SQLITE_IOERR_WRITE);
  }
  if (reinterpret_cast<File*>(file)->is_log) is_unsynchronised = true;
  return methods_of(file).xWrite(real(file), bytes, size, place);
}
int truncate_file(sqlite3_file* file, sqlite3_int64 size) {
  if (is_due()) return fail(SQLITE_IOERR_TRUNCATE);
  return methods_of(file).xTruncate(real(file), size);
}
int synchronise_file(sqlite3_file* file, int flags) {
  if (is_due()) return fail(SQLITE_IOERR_FSYNC);
  if (reinterpret_cast<File*>(file)->is_log) is_unsynchronised = false;
  return methods_of(file).xSync(real(file), flags);
}
int size_of_file(sqlite3_file* file, sqlite3_int64* size) {
  return methods_of(file).xFileSize(real(file), size);
}
int lock_file(sqlite3_file* file, int kind) { return methods_of(file).xLock(real(file), kind); }
int unlock_file(sqlite3_file* file, int kind) { return methods_of(file).xUnlock(real(file), kind); }
int check_lock(sqlite3_file* file, int* result) {
  return methods_of(file).xCheckReservedLock(real(file), result);
}
int control_file(sqlite3_file* file, int what, void* argument) {
  return methods_of(file).xFileControl(real(file), what, argument);
}
int sector_size(sqlite3_file* file) { return methods_of(file).xSectorSize(real(file)); }
int characteristics(sqlite3_file* file) {
  return methods_of(file).xDeviceCharacteristics(real(file));
}
int map_memory(sqlite3_file* file, int region, int size, int extends, void volatile** memory) {
  return methods_of(file).xShmMap(real(file), region, size, extends, memory);
}
int lock_memory(sqlite3_file* file, int offset, int count, int flags) {
  return methods_of(file).xShmLock(real(file), offset, count, flags);
}
void memory_barrier(sqlite3_file* file) { methods_of(file).xShmBarrier(real(file)); }
int unmap_memory(sqlite3_file* file, int removes) {
  return methods_of(file).xShmUnmap(real(file), removes);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         close_file,
                                         read_file,
                                         write_file,
                                         truncate_file,
                                         synchronise_file,
                                         size_of_file,
                                         lock_file,
                                         unlock_file,
                                         check_lock,
                                         control_file,
                                         sector_size,
                                         characteristics,
                                         map_memory,
                                         lock_memory,
                                         memory_barrier,
                                         unmap_memory,
                                         nullptr,
                                         nullptr};

int open_file(sqlite3_vfs*, const char* name, sqlite3_file* memory, int flags, int* out_flags) {
  File* const file = new (memory) File{};
  const int code = usual()->xOpen(usual(), name, real(memory), flags, out_flags);
  file->is_log = (flags & SQLITE_OPEN_WAL) != 0;
  file->base.pMethods = real(memory)->pMethods ? &kMethods : nullptr;
  return code;
}

int delete_file(sqlite3_vfs*, const char* name, int synchronises) {
  if (is_due()) return fail(SQLITE_IOERR_DELETE);
  return usual()->xDelete(usual(), name, synchronises);
}

}  // namespace

void plan_faults(const FaultPlan& new_plan) {
  static sqlite3_vfs file_system = [] {
    sqlite3_initialize();
    sqlite3_vfs made = *usual();
    made.zName = kFaultyFileSystem;
    made.szOsFile += static_cast<int>(sizeof(File));
    made.pNext = nullptr;
    made.xOpen = open_file;
    made.xDelete = delete_file;
    return made;
  }();
  if (!sqlite3_vfs_find(kFaultyFileSystem)) sqlite3_vfs_register(&file_system, 0);
  plan = new_plan;
  calls = 0;
  is_unsynchronised = false;
}

int faulty_calls() { return calls; }
bool is_log_unsynchronised() { return is_unsynchronised; }

}  // namespace drivetest
