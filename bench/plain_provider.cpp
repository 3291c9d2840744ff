// The floor for the enumeration of completion records: the same instances, made by a provider
// written by hand for this one class, as one would in C: no framework, no adapter, no copy of
// the records, an array and the object manager's tables.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

#include "bench/record_filler.h"
#include "platform/cmpi/cmpi.h"

namespace {

struct Record {
  char job[64];
  const char* text;
  const char* service;
  const char* device;
  CMPIUint16 state;
};

Record* records;
unsigned long count;
const CMPIBroker* broker;

enum Content { None, Fixed, Job, Text, Service, Device, Time, State, Kind };

// In the order of the class; what stands at None is published as null.
struct Column {
  const char* name;
  CMPIType type;
  Content content;
  const char* fixed;
};
const Column kColumns[] = {
    {"Caption", CMPI_string, Fixed, "DiagnosticRecord"},
    {"Description", CMPI_string, Fixed, "Diagnostics results record"},
    {"ElementName", CMPI_string, Fixed, "Result for HDDTest"},
    {"RecordFormat", CMPI_string, Fixed, ""},
    {"RecordData", CMPI_string, Text, nullptr},
    {"Locale", CMPI_string, Fixed, "en"},
    {"InstanceID", CMPI_string, Job, nullptr},
    {"ServiceName", CMPI_string, Service, nullptr},
    {"ManagedElementName", CMPI_string, Device, nullptr},
    {"ExpirationDate", CMPI_dateTime, None, nullptr},
    {"RecordType", CMPI_uint16, Kind, nullptr},
    {"OtherRecordTypeDescription", CMPI_string, None, nullptr},
    {"CreationTimeStamp", CMPI_dateTime, Time, nullptr},
    {"ErrorCode", CMPI_stringA, None, nullptr},
    {"ErrorCount", CMPI_uint32A, None, nullptr},
    {"LoopsFailed", CMPI_uint32, None, nullptr},
    {"LoopsPassed", CMPI_uint32, None, nullptr},
    {"CompletionState", CMPI_uint16, State, nullptr},
    {"OtherCompletionStateDescription", CMPI_string, None, nullptr},
};

bool wanted(const char** list, const char* name) {
  if (!list) return true;
  for (; *list; ++list)
    if (strcasecmp(*list, name) == 0) return true;
  return strcmp(name, "InstanceID") == 0;
}

void set_text(CMPIInstance* instance, const char* name, const char* text) {
  CMPIString* string = broker->eft->newString(broker, text, nullptr);
  CMPIValue value;
  value.string = string;
  instance->ft->setProperty(instance, name, &value, CMPI_string);
  string->ft->release(string);
}

void set_time(CMPIInstance* instance, const char* name) {
  struct timespec now;
  clock_gettime(CLOCK_REALTIME, &now);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  char text[128];
  std::snprintf(text, sizeof text, "%04d%02d%02d%02d%02d%02d.%06ld%c%03ld", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                now.tv_nsec / 1000, local.tm_gmtoff < 0 ? '-' : '+', labs(local.tm_gmtoff) / 60);
  CMPIDateTime* time = broker->eft->newDateTimeFromChars(broker, text, nullptr);
  CMPIValue value;
  value.dateTime = time;
  instance->ft->setProperty(instance, name, &value, CMPI_dateTime);
  time->ft->release(time);
}

void set_number(CMPIInstance* instance, const char* name, CMPIUint16 number) {
  CMPIValue value;
  value.uint16 = number;
  instance->ft->setProperty(instance, name, &value, CMPI_uint16);
}

CMPIStatus enumerate_instances(CMPIInstanceMI*, const CMPIContext*, const CMPIResult* result,
                               const CMPIObjectPath* class_path, const char** properties) {
  const CMPIStatus ok = {CMPI_RC_OK, nullptr};
  const Column* chosen[std::size(kColumns)];
  size_t width = 0;
  for (const Column& column : kColumns)
    if (wanted(properties, column.name)) chosen[width++] = &column;
  CMPIString* name_space = class_path->ft->getNameSpace(class_path, nullptr);
  const char* place = name_space->ft->getCharPtr(name_space, nullptr);
  for (unsigned long i = 0; i < count; ++i) {
    const Record& record = records[i];
    CMPIObjectPath* path = broker->eft->newObjectPath(
        broker, place, "KAVRO_HDDTest_DiagnosticCompletionRecord", nullptr);
    CMPIString* key = broker->eft->newString(broker, record.job, nullptr);
    CMPIValue value;
    value.string = key;
    path->ft->addKey(path, "InstanceID", &value, CMPI_string);
    key->ft->release(key);
    CMPIInstance* instance = broker->eft->newInstance(broker, path, nullptr);
    for (size_t c = 0; c < width; ++c) {
      const Column& column = *chosen[c];
      switch (column.content) {
        case None:
          instance->ft->setProperty(instance, column.name, nullptr, column.type);
          break;
        case Fixed:
          set_text(instance, column.name, column.fixed);
          break;
        case Job:
          set_text(instance, column.name, record.job);
          break;
        case Text:
          set_text(instance, column.name, record.text);
          break;
        case Service:
          set_text(instance, column.name, record.service);
          break;
        case Device:
          set_text(instance, column.name, record.device);
          break;
        case Time:
          set_time(instance, column.name);
          break;
        case State:
          set_number(instance, column.name, record.state);
          break;
        case Kind:
          set_number(instance, column.name, 2);
          break;
      }
    }
    result->ft->returnInstance(result, instance);
    instance->ft->release(instance);
    path->ft->release(path);
  }
  result->ft->returnDone(result);
  return ok;
}

CMPIStatus cleanup(CMPIInstanceMI*, const CMPIContext*, CMPIBoolean) {
  return {CMPI_RC_OK, nullptr};
}

const CMPIInstanceMIFT kFunctions = {
    .ftVersion = CMPIVersion100,
    .miVersion = CMPIVersion100,
    .miName = "PlainRecord",
    .cleanup = cleanup,
    .enumerateInstanceNames = nullptr,
    .enumerateInstances = enumerate_instances,
    .getInstance = nullptr,
    .createInstance = nullptr,
    .modifyInstance = nullptr,
    .deleteInstance = nullptr,
    .execQuery = nullptr,
    .enumerateInstancesFiltered = nullptr,
};
CMPIInstanceMI interface_table = {nullptr, &kFunctions};

}  // namespace

extern "C" {

__attribute__((visibility("default"))) CMPIInstanceMI* PlainRecord_Create_InstanceMI(
    const CMPIBroker* mb, const CMPIContext*, CMPIStatus*) {
  broker = mb;
  return &interface_table;
}

__attribute__((visibility("default"))) void add_records(unsigned long number) {
  const unsigned long wanted = count + number;
  records = static_cast<Record*>(std::realloc(records, wanted * sizeof(Record)));
  for (; count < wanted; ++count) {
    Record& record = records[count];
    std::snprintf(record.job, sizeof record.job, "%s%lu", bench::kJob, count + 1);
    record.text = bench::kRecordData;
    record.service = bench::kServiceName;
    record.device = bench::kDevice;
    record.state = 2;
  }
}
}
