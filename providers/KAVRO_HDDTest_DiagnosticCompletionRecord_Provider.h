#pragma once

#include <map>
#include <string>

#include "engine/HDDTest.h"
#include "model/KAVRO_HDDTest_DiagnosticCompletionRecord.h"
#include "platform/framework/handler.h"
#include "providers/logged_refusals.h"
#include "results/TDiagnosticResultParser.h"

namespace ovk_cimple {

// Publishes the records of how runs ended, and builds them. Records live in the engine only.
// Stateless; may be called by any number of threads.
class KAVRO_HDDTest_DiagnosticCompletionRecord_Provider
    : public LoggedRefusals<KAVRO_HDDTest_DiagnosticCompletionRecord> {
 public:
  using Class = KAVRO_HDDTest_DiagnosticCompletionRecord;

  KAVRO_HDDTest_DiagnosticCompletionRecord_Provider();
  ~KAVRO_HDDTest_DiagnosticCompletionRecord_Provider();

  sint32 enum_instances(const Class* model, EnumHandler<Class>* handler);

  // Makes the instance of a stored record, which the caller owns. Its time stamp is that of this
  // call.
  static Class* EnumRecord(TDiagRecord record);

  // Composes the record of the run that has just ended from its status and the message file,
  // stores it in the engine and returns its instance, which the caller owns. When the message file
  // cannot be opened, or there is no memory for it, returns null and stores nothing.
  static Class* BuildRecord(std::string elementName, std::string recordId);

 private:
  // Kept on purpose: an object that lives from the library's load to its unload. It is never filled
  // and never read, so that its end changes nothing and clients see nothing of it.
  static std::multimap<std::string, TDiagnosticResultMessage> fResults;
};

}  // namespace ovk_cimple
