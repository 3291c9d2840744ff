// The engine's store.
#include "engine/HDDTest.h"

#include "engine/locks.h"
#include "engine/trace.h"

using engine::StoreLock;
using engine::Trace;

using Guard = const std::lock_guard<std::mutex>;

namespace {

void TraceGetRecord() {
  Trace("THDDTest::GetRecord -- Entering");
  // Kept on purpose: readers of the log see this one line without the leading T.
  Trace("HDDTest::GetRecord -- Exiting");
}

}  // namespace

THDDTest* THDDTest::fgInstance = nullptr;

THDDTest* THDDTest::GetInstance() {
  Trace("THDDTest::GetInstance -- Entering ");
  THDDTest* instance = nullptr;
  {
    Guard guard(StoreLock());
    if (fgInstance == nullptr) fgInstance = new THDDTest;
    instance = fgInstance;
  }
  Trace("THDDTest::GetInstance -- Exiting ");
  return instance;
}

void THDDTest::DeleteInstance() {
  Trace("THDDTest::DeleteInstance -- Entering ");
  {
    Guard guard(StoreLock());
    delete fgInstance;
  }
  Trace("THDDTest::DeleteInstance -- Exiting ");
}

THDDTest::THDDTest() {
  Trace("THDDTest::THDDTest -- Entering ");
  fToolPath = "smartctl";
  Trace("THDDTest::THDDTest -- Exiting ");
}

THDDTest::~THDDTest() {
  Trace("THDDTest::~THDDTest -- Entering ");
  Trace("THDDTest::~THDDTest -- Exiting ");
}

void THDDTest::ResetResults() {
  Trace("THDDTest::ResetResults -- Entering");
  {
    Guard guard(StoreLock());
    fResults.clear();
  }
  Trace("THDDTest::ResetResults -- Exiting");
}

// The getters write both lines before they copy.

std::vector<int> THDDTest::GetResults() {
  Trace("THDDTest::GetResults -- Entering");
  Trace("THDDTest::GetResults -- Exiting");
  Guard guard(StoreLock());
  return fResults;
}

void THDDTest::AddRecord(TDiagRecord* record) {
  Trace("THDDTest::AddRecord -- Entering");
  {
    Guard guard(StoreLock());
    fRecords.push_back(*record);
  }
  Trace("THDDTest::AddRecord -- Exiting");
}

std::vector<TDiagRecord> THDDTest::GetRecord() {
  TraceGetRecord();
  Guard guard(StoreLock());
  return fRecords;
}

void THDDTest::VisitRecords(const std::function<void(TDiagRecord record)>& visitor) {
  TraceGetRecord();
  std::size_t size = 0;
  {
    Guard guard(StoreLock());
    size = fRecords.size();
  }
  for (std::size_t place = 0; place < size; ++place) {
    TDiagRecord record;
    {
      Guard guard(StoreLock());
      if (place >= fRecords.size()) return;
      record = fRecords[place];
    }
    visitor(std::move(record));
  }
}

void THDDTest::AddConcreteJob(TConcreteJob* job) {
  Trace("THDDTest::AddConcreteJob -- Entering ");
  {
    Guard guard(StoreLock());
    fJobs.assign(1, *job);
  }
  Trace("THDDTest::AddConcreteJob -- Exiting");
}

std::vector<TConcreteJob> THDDTest::GetConcreteJob() {
  Trace("THDDTest::GetConcreteJob -- Entering");
  Trace("THDDTest::GetConcreteJob -- Exiting");
  Guard guard(StoreLock());
  return fJobs;
}
