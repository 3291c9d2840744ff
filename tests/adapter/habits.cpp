#include "tests/adapter/habits.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <utility>
#include <vector>

#include "broker/object_manager.h"
#include "tests/adapter/empty_keys.h"

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
  tables.context.ftVersion = version;
  tables.result.ftVersion = version;
  tables.string.ftVersion = version;
  tables.array.ftVersion = version;
  tables.enumeration.ftVersion = version;
  tables.instance.ftVersion = version;
  tables.object_path.ftVersion = version;
  tables.args.ftVersion = version;
  tables.date_time.ftVersion = version;
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

// A new instance has the path's keys and the class's defaults as properties.
CMPIInstance* new_filled_instance(const CMPIBroker* mb, const CMPIObjectPath* path,
                                  CMPIStatus* rc) {
  CMPIInstance* const instance = original().factories.newInstance(mb, path, rc);
  if (!instance) return instance;
  CMPIValue value{};
  value.uint32 = 7;
  instance->ft->setProperty(instance, "Count", &value, CMPI_uint32);
  value.uint32 = 1000;
  instance->ft->setProperty(instance, "U32", &value, CMPI_uint32);
  CMPIStatus status{};
  const CMPICount keys = original().object_path.getKeyCount(path, &status);
  for (CMPICount index = 0; index < keys; ++index) {
    CMPIString* name = nullptr;
    const CMPIData key = original().object_path.getKeyAt(path, index, &name, &status);
    instance->ft->setProperty(instance, original().string.getCharPtr(name, &status), &key.value,
                              key.type);
  }
  return instance;
}

CMPIData key_or_not_found(const CMPIObjectPath* path, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  CMPIData data = original().object_path.getKey(path, name, &status);
  if (status.rc != CMPI_RC_OK) return not_found(rc);
  if (rc) *rc = {};
  if ((data.type & CMPI_INTEGER) == CMPI_UINT) {  // the type that clients send
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

CMPIData property_or_not_found(const CMPIInstance* instance, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  const CMPIData data = original().instance.getProperty(instance, name, &status);
  if (status.rc != CMPI_RC_OK) return not_found(rc);
  if (rc) *rc = {};
  return data;
}

// Keeps only those keys that the second list names.
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

// Unknown properties are dropped as if they were set, others must be of their type.
CMPIStatus property_of_the_class(const CMPIInstance* instance, const char* name,
                                 const CMPIValue* value, CMPIType type) {
  const CMPIStatus status = original().instance.setProperty(instance, name, value, type);
  if (status.rc == CMPI_RC_ERR_NO_SUCH_PROPERTY) return {};
  constexpr auto kTypeMismatch = static_cast<CMPIrc>(61);
  if (status.rc == CMPI_RC_ERR_TYPE_MISMATCH) {
    ADD_FAILURE() << "property " << name << " was set with type " << type;
    return {kTypeMismatch, nullptr};
  }
  return status;
}

// All properties of the class are there; those that nobody sent are null.
CMPIData property_or_null(const CMPIInstance* instance, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  const CMPIData data = original().instance.getProperty(instance, name, &status);
  const broker::PropertyInfo* property = nullptr;
  if (status.rc == CMPI_RC_ERR_NO_SUCH_PROPERTY) {
    CMPIObjectPath* const path = original().instance.getObjectPath(instance, &status);
    const CMPIString* const class_name = original().object_path.getClassName(path, &status);
    const auto* const info =
        broker::generated_schema().find(original().string.getCharPtr(class_name, &status));
    property = info ? info->find_property(name) : nullptr;
    status = {property ? CMPI_RC_OK : CMPI_RC_ERR_NO_SUCH_PROPERTY, nullptr};
  }
  if (rc) *rc = status;
  if (!property) return data;
  const auto type = static_cast<CMPIType>(property->type);
  return {static_cast<CMPIType>(property->array ? type | CMPI_ARRAY : type), CMPI_nullValue, {}};
}

CMPIStatus element_with_value(const CMPIArray* array, CMPICount index, const CMPIValue* value,
                              CMPIType type) {
  if (!value) return {CMPI_RC_ERR_INVALID_PARAMETER, nullptr};
  return original().array.setElementAt(array, index, value, type);
}

// Such an object manager crashes on an array that has an element without a value.
void expect_whole(const CMPIValue* value, CMPIType type) {
  if (!value || !(type & CMPI_ARRAY)) return;
  CMPIStatus status{};
  const CMPICount size = original().array.getSize(value->array, &status);
  for (CMPICount index = 0; index < size; ++index) {
    const CMPIData element = original().array.getElementAt(value->array, index, &status);
    EXPECT_FALSE(element.state & CMPI_nullValue) << "element " << index << " is null";
  }
}

CMPIStatus whole_argument(const CMPIArgs* args, const char* name, const CMPIValue* value,
                          CMPIType type) {
  expect_whole(value, type);
  return original().args.addArg(args, name, value, type);
}

CMPIStatus whole_data(const CMPIResult* result, const CMPIValue* value, CMPIType type) {
  expect_whole(value, type);
  return original().result.returnData(result, value, type);
}

CMPIArray* array_of_strings(const CMPIBroker* mb, CMPICount size, CMPIType type, CMPIStatus* rc) {
  type = static_cast<CMPIType>(type & ~CMPI_ARRAY);
  return original().factories.newArray(mb, size, type == CMPI_chars ? CMPI_string : type, rc);
}

// A number without a value becomes this one.
template <CMPIUint64 other>
CMPIStatus element_or(const CMPIArray* array, CMPICount index, const CMPIValue* value,
                      CMPIType type) {
  CMPIValue number{};
  number.uint64 = other;
  const bool numeric = (type & (CMPI_INTEGER | CMPI_REAL)) != 0;
  return original().array.setElementAt(array, index, value || !numeric ? value : &number, type);
}

// What is missing has an arbitrary value. Only the status tells that it is missing.
CMPIData entry_or_any(const CMPIContext* context, const char* name, CMPIStatus* rc) {
  CMPIStatus status{};
  CMPIData data = original().context.getEntry(context, name, &status);
  if (status.rc != CMPI_RC_OK) {
    data = {CMPI_string, CMPI_goodValue, {}};
    data.value.uint64 = 16;  // nothing is mapped there
  }
  if (rc) *rc = status;
  return data;
}

// A copy that ends where a mapped page ends, so that reading past it ends the process.
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
            tables.system.exitThread = nullptr;
            tables.system.cancelThread = nullptr;
            tables.system.threadSleep = nullptr;
            tables.system.signalCondition = nullptr;
            tables.factories.logMessage = [](auto...) {
              return CMPIStatus{CMPI_RC_ERR_NOT_SUPPORTED, nullptr};
            };
            tables.factories.newInstance = new_filled_instance;
            tables.factories.newArray = array_of_strings;
            tables.array.setElementAt = element_or<0x5A5A5A5A5A5A5A5A>;
            tables.context.getEntry = entry_or_any;
            tables.instance.setPropertyFilter = filter_dropping_keys;
            tables.instance.getProperty = property_or_not_found;
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
            hand_empty_keys_as_null(tables);
            tables.instance.setPropertyFilter = [](auto...) { return CMPIStatus{}; };
            tables.instance.setProperty = property_of_the_class;
            tables.instance.getProperty = property_or_null;
            tables.array.setElementAt = element_with_value;
            tables.args.addArg = whole_argument;
            tables.result.returnData = whole_data;
            // Results of the wrong kind are refused, and references are data there.
            tables.instance.release = [](auto...) { return CMPIStatus{}; };
            tables.object_path.release = [](auto...) { return CMPIStatus{}; };
            tables.args.release = [](auto...) { return CMPIStatus{}; };
            tables.context.release = [](auto...) { return CMPIStatus{}; };
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
            tables.array.setElementAt = element_or<0>;
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

// The change is made before the habit, which may copy a table, and again after it, so that it wins.
Habit combined(const Habit& habit, std::function<void(Tables&)> more) {
  return {habit.name, [adjust = habit.adjust, more = std::move(more)](Tables& tables) {
            more(tables);
            if (adjust) adjust(tables);
            more(tables);
          }};
}

}  // namespace ovk_cimple
