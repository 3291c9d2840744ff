// Linked into a copy of the module, where it reaches the engine that the providers share.
#include "bench/record_filler.h"

#include "engine/HDDTest.h"

__attribute__((visibility("default"))) void add_records(unsigned long number) {
  static unsigned long job = 0;
  TDiagRecord record{.fJobID = {},
                     .fRecordData = bench::kRecordData,
                     .fServiceName = bench::kServiceName,
                     .fDeviceID = bench::kDevice,
                     .fCompletionState = 2};
  for (unsigned long i = 0; i < number; ++i) {
    record.fJobID = bench::kJob + std::to_string(++job);
    THDDTest::GetInstance()->AddRecord(&record);
  }
}
