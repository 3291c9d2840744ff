#pragma once

#include <array>
#include <string>
#include <vector>

#include "model/KAVRO_HDDTest_AvailableDiagnosticService.h"
#include "platform/framework/cimom.h"
#include "platform/framework/handler.h"
#include "providers/logged_refusals.h"

namespace ovk_cimple {

// Publishes the drives for which the self-test is offered: an association of the service with each
// drive that the tests below do not leave out. Every enumeration decides anew. An enumeration
// blocks for as long as the object manager's own enumerations and hwinfo take.
//
// May be called by any number of threads: enumerations wait for each other.
class KAVRO_HDDTest_AvailableDiagnosticService_Provider
    : public LoggedRefusals<KAVRO_HDDTest_AvailableDiagnosticService> {
 public:
  using Class = KAVRO_HDDTest_AvailableDiagnosticService;

  // For each of the first bus devices 1 when it may be read, 0 when reading it killed the probe.
  static constexpr std::size_t kStatusTableSize = 100;
  using StatusTable = std::array<sint32, kStatusTableSize>;

  KAVRO_HDDTest_AvailableDiagnosticService_Provider();
  ~KAVRO_HDDTest_AvailableDiagnosticService_Provider();

  sint32 enum_instances(const Class* model, EnumHandler<Class>* handler);
  sint32 enum_associator_names(const Instance* source, const char* result_class, const char* role,
                               const char* result_role, EnumHandler<>* handler);
  sint32 enum_references(const Instance* source, const Class* model, const char* role,
                         EnumHandler<Class>* handler);
  sint32 enum_associators(const Instance* source, const char* result_class, const char* role,
                          const char* result_role, EnumHandler<>* handler);

  // The steps of an enumeration. They log what they find and hold no lock; names are device names
  // as hwinfo prints them.
  void getDiskDeviceList();  // replaces diskBuffer
  void getUSBDeviceList();   // replaces usbBuffer
  bool isDiskDevice(std::string name);
  bool isUSBDevice(std::string name);
  bool isMicroFlashDevice(std::string name);
  // True: leave the drive out. Runs hwinfo once per readable bus device that is examined.
  bool isLSIRAIDDevice(std::string name, const sint32* iStatusOfRefInst);
  bool isLSIMegaRAIDDevice(std::string name);

  // Reads every bus device in a child process of its own and marks in the table those whose child
  // died by a signal. Those past the table are not probed and count as unreadable.
  void probe(StatusTable& iStatusOfRefInst);

  std::string diskBuffer;               // hwinfo --disk of the latest enumeration
  std::string usbBuffer;                // hwinfo --usb of the latest enumeration
  std::vector<Ref<Instance>> fRefInst;  // every bus device of every enumeration so far; kept on
                                        // purpose: a second enumeration sees each of them twice
 private:
  Ref<Class> offer(const Instance& drive, const std::string& name);
  bool is_left_out(const std::string& name, const StatusTable& iStatusOfRefInst);
};

}  // namespace ovk_cimple
