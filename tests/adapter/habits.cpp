#include "tests/adapter/habits.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <utility>
#include <vector>

namespace ovk_cimple {

namespace {

using broker::Tables;

// The embedded object manager's own members are the same in every manager, so that one static
// copy of the tables serves all.
const Tables& original() {
  static const Tables& tables = *new Tables;
  return tables;
}

CMPIData not_found(CMPIStatus* rc) {
  if (rc) *rc = {CMPI_RC_ERR_NOT_FOUND, nullptr};
  return {CMPI_null, CMPI_notFound, {}};
}

void set_object_versions(Tables& tables, CMPIVersion version) {
  tables.context.ftVersion = tables.result.ftVersion = tables.string.ftVersion = version;
  tables.array.ftVersion = tables.enumeration.ftVersion = tables.instance.ftVersion = version;
  tables.object_path.ftVersion = tables.args.ftVersion = tables.date_time.ftVersion = version;
}

void remove_optional_members(Tables& tables) {
  tables.broker.mft = nullptr;
  tables.result.returnError = nullptr;
  tables.instance.setPropertyWithOrigin = nullptr;
  tables.object_path.getClassQualifier = nullptr;
  tables.object_path.getPropertyQualifier = nullptr;
  tables.object_path.getMethodQualifier = nullptr;
  tables.object_path.getParameterQualifier = nullptr;
}

CMPIInstance* new_instance_with_defaults(const CMPIBroker* mb, const CMPIObjectPath* path,
                                         CMPIStatus* rc) {
  CMPIInstance* const instance = original().factories.newInstance(mb, path, rc);
  if (!instance) return instance;
  CMPIValue value{};
  value.uint32 = 7;
  instance->ft->setProperty(instance, "Count", &value, CMPI_uint32);
  value.uint32 = 1000;
  instance->ft->setProperty(instance, "U32", &value, CMPI_uint32);
  return instance;
}

CMPIData key_or_not_found(const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  CMPIData data = original().object_path.getKey(path, name, &status);
  if (status.rc != CMPI_RC_OK) return not_found(rc);
  if (rc) *rc = {};
  if ((data.type & CMPI_INTEGER) == CMPI_UINT) {  // as clients sent it
    const CMPIUint64 number = data.type == CMPI_uint16 ? data.value.uint16 : data.value.uint64;
    data = {CMPI_uint64, CMPI_goodValue, {}};
    data.value.uint64 = number;
  }
  data.state = CMPI_goodValue;
  return data;
}

CMPIData key_as_sint64(const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  CMPIData data = original().object_path.getKey(path, name, &status);
  if (status.rc != CMPI_RC_OK) return not_found(rc);
  if (rc) *rc = {};
  if (data.type == CMPI_uint16) {
    const CMPISint64 number = data.value.uint16;
    data = {CMPI_sint64, CMPI_keyValue, {}};
    data.value.sint64 = number;
  }
  return data;
}

CMPIData argument_or_not_found(const CMPIArgs* args, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  const CMPIData data = original().args.getArg(args, name, &status);
  if (status.rc != CMPI_RC_OK) return not_found(rc);
  if (rc) *rc = {};
  return data;
}

// Keeps only what the second list names of the keys.
CMPIStatus filter_dropping_keys(const CMPIInstance* instance, const char** properties,
                                const char** keys) {
  if (!properties) return {};
  std::vector<const char*> kept;
  for (const char** name = properties; *name; ++name) {
    const bool key = !strcmp(*name, "Name") || !strcmp(*name, "Number");
    bool listed = !key;
    for (const char** entry = keys; entry && *entry; ++entry) listed |= !strcmp(*entry, *name);
    if (listed) kept.push_back(*name);
  }
  kept.push_back(nullptr);
  return original().instance.setPropertyFilter(instance, kept.data(), nullptr);
}

// A copy that ends at the end of a mapped page.
template <class Table>
const Table* cut(const Table& table, std::size_t length) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  auto* const pages = static_cast<char*>(
      mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  mprotect(pages + page, page, PROT_NONE);
  char* const start = pages + page - length;
  memcpy(start, &table, length);
  return reinterpret_cast<const Table*>(start);
}

}  // namespace

Habit standard() { return {"Standard", {}}; }

Habit old_versions() {
  return {"OldVersions", [](Tables& tables) {
            tables.operations.brokerVersion = 0;
            tables.factories.ftVersion = 1;
            set_object_versions(tables, 1);
            remove_optional_members(tables);
            tables.factories.newCMPIError = nullptr;
            tables.factories.openMessageFile = nullptr;
            tables.factories.closeMessageFile = nullptr;
            tables.factories.getMessage2 = nullptr;
            tables.system.joinThread = nullptr;
            tables.system.signalCondition = nullptr;
            tables.factories.logMessage = [](auto...) {
              return CMPIStatus{CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
            };
            tables.factories.newInstance = new_instance_with_defaults;
            tables.instance.setPropertyFilter = filter_dropping_keys;
            tables.object_path.getKey = key_or_not_found;
            tables.args.getArg = argument_or_not_found;
          }};
}

Habit loose_keys() {
  return {"LooseKeys", [](Tables& tables) {
            tables.operations.brokerVersion = CMPIVersion200;
            tables.factories.ftVersion = CMPIVersion200;
            set_object_versions(tables, CMPIVersion200);
            remove_optional_members(tables);
            tables.context.clone = nullptr;
            tables.result.release = nullptr;
            tables.result.clone = nullptr;
            tables.object_path.getKey = key_as_sint64;
            tables.instance.setPropertyFilter = [](auto...) { return CMPIStatus{}; };
            // Results of the wrong kind are refused, and references are data there.
            tables.instance.release = [](auto...) { return CMPIStatus{}; };
          }};
}

Habit short_tables() {
  return {"ShortTables", [](Tables& tables) {
            tables.operations.brokerVersion = CMPIVersion100;
            tables.factories.ftVersion = CMPIVersion100;
            set_object_versions(tables, CMPIVersion100);
            tables.broker.bft = cut(tables.operations, 160);
            tables.broker.eft = cut(tables.factories, 136);
            tables.broker.xft = cut(tables.system, 168);
            // Nothing is mapped here; 1.0 ends before these.
            const auto nowhere = std::uintptr_t{16};
            tables.broker.mft = reinterpret_cast<const CMPIBrokerMemFT*>(nowhere);
            memcpy(&tables.result.returnError, &nowhere, sizeof nowhere);
            memcpy(&tables.instance.setPropertyWithOrigin, &nowhere, sizeof nowhere);
            memcpy(&tables.string.newCharsCP, &nowhere, sizeof nowhere);
          }};
}

Habit bare_paths() {
  return {"BarePaths", [](Tables& tables) {
            tables.object_path.getNameSpace = [](const CMPIObjectPath*, CMPIStatus*) {
              return static_cast<CMPIString*>(nullptr);
            };
            tables.instance.setPropertyFilter = nullptr;
            tables.instance.release = nullptr;
            tables.object_path.release = nullptr;
            tables.string.release = nullptr;
            tables.result.returnDone = nullptr;
          }};
}

std::vector<Habit> all_habits() {
  return {standard(), old_versions(), loose_keys(), short_tables(), bare_paths()};
}

// Twice, since a habit may copy a table when it has changed it.
Habit combined(const Habit& habit, std::function<void(Tables&)> more) {
  return {habit.name, [adjust = habit.adjust, more = std::move(more)](Tables& tables) {
            more(tables);
            if (adjust) adjust(tables);
            more(tables);
          }};
}

}  // namespace ovk_cimple
