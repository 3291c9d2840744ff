// The engine's store.
#include "engine/HDDTest.h"

#include "engine/locks.h"
#include "engine/trace.h"

using engine::store_lock;
using engine::trace;

using Guard = const std::lock_guard<std::mutex>;

namespace {

void trace_get_record() {
  trace("THDDTest::GetRecord -- Entering");
  // Kept on purpose: readers of the log see this one line without the leading T.
  trace("HDDTest::GetRecord -- Exiting");
}

}  // namespace

THDDTest* THDDTest::fgInstance = nullptr;

THDDTest* THDDTest::GetInstance() {
  trace("THDDTest::GetInstance -- Entering ");
  THDDTest* instance = nullptr;
  {
    Guard guard(store_lock());
    if (fgInstance == nullptr) fgInstance = new THDDTest;
    instance = fgInstance;
  }
  trace("THDDTest::GetInstance -- Exiting ");
  return instance;
}

void THDDTest::DeleteInstance() {
  trace("THDDTest::DeleteInstance -- Entering ");
  {
    Guard guard(store_lock());
    delete fgInstance;
  }
  trace("THDDTest::DeleteInstance -- Exiting ");
}

THDDTest::THDDTest() {
  trace("THDDTest::THDDTest -- Entering ");
  fToolPath = "smartctl";
  trace("THDDTest::THDDTest -- Exiting ");
}

THDDTest::~THDDTest() {
  trace("THDDTest::~THDDTest -- Entering ");
  trace("THDDTest::~THDDTest -- Exiting ");
}

void THDDTest::ResetResults() {
  trace("THDDTest::ResetResults -- Entering");
  {
    Guard guard(store_lock());
    fResults.clear();
  }
  trace("THDDTest::ResetResults -- Exiting");
}

// The getters write both lines before they copy.

std::vector<int> THDDTest::GetResults() {
  trace("THDDTest::GetResults -- Entering");
  trace("THDDTest::GetResults -- Exiting");
  Guard guard(store_lock());
  return fResults;
}

void THDDTest::AddRecord(TDiagRecord* record) {
  trace("THDDTest::AddRecord -- Entering");
  {
    Guard guard(store_lock());
    fRecords.push_back(*record);
  }
  trace("THDDTest::AddRecord -- Exiting");
}

std::vector<TDiagRecord> THDDTest::GetRecord() {
  trace_get_record();
  Guard guard(store_lock());
  return fRecords;
}

void THDDTest::visit_records(const std::function<void(TDiagRecord record)>& visitor) {
  trace_get_record();
  std::size_t size = 0;
  {
    Guard guard(store_lock());
    size = fRecords.size();
  }
  for (std::size_t place = 0; place < size; ++place) {
    TDiagRecord record;
    {
      Guard guard(store_lock());
      if (place >= fRecords.size()) return;
      record = fRecords[place];
    }
    visitor(std::move(record));
  }
}

void THDDTest::AddConcreteJob(TConcreteJob* job) {
  trace("THDDTest::AddConcreteJob -- Entering ");
  {
    Guard guard(store_lock());
    fJobs.assign(1, *job);
  }
  trace("THDDTest::AddConcreteJob -- Exiting");
}

std::vector<TConcreteJob> THDDTest::GetConcreteJob() {
  trace("THDDTest::GetConcreteJob -- Entering");
  trace("THDDTest::GetConcreteJob -- Exiting");
  Guard guard(store_lock());
  return fJobs;
}
