// An object manager with one provider of completion records, out of a library of this folder.
#pragma once

#include <memory>
#include <string>

#include "broker/cimxml/service.h"
#include "broker/object_manager.h"

namespace bench {

// An EnumerateInstances request for the records; the names of a property list stand between
// blanks, none means all properties.
std::string enumeration(const std::string& properties = {});

class RecordServer {
 public:
  // library: without "lib" and ".so"; filler: the function of it that sets the number of records.
  RecordServer(const std::string& library, const char* provider, const char* filler,
               unsigned long records);

  broker::cimxml::Service& service() { return *service_; }
  static broker::cimxml::Call call(std::string_view body);

 private:
  std::unique_ptr<broker::ObjectManager> manager_;
  std::unique_ptr<broker::cimxml::Service> service_;
};

// The server of the module, or of the provider written by hand, with so many records. Made once for
// each number, each with a copy of the library, since records stay in a process.
RecordServer& module_with(unsigned long records);
RecordServer& plain_with(unsigned long records);

}  // namespace bench
