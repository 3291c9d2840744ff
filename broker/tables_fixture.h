// Puts the thread of a test inside an operation of an object manager, as a provider's is.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "broker/core.h"
#include "broker/operation.h"
#include "broker/test_classes.h"

namespace broker {

class TablesTest : public testing::Test {
 protected:
  TablesTest()
      : core(std::make_shared<Core>(test_schema(), Options{})),
        operation(std::make_unique<Operation>(*core, Request{}, 0)),
        mb(&core->tables().broker) {}

  CMPIObjectPath* path(const char* class_name) {
    return mb->eft->newObjectPath(mb, "root/cimv2", class_name, &rc);
  }
  CMPIInstance* instance(const char* class_name) {
    return mb->eft->newInstance(mb, path(class_name), &rc);
  }
  CMPIString* string(const char* text) { return mb->eft->newString(mb, text, &rc); }
  static std::string text(const CMPIString* string) {
    return string ? string->ft->getCharPtr(string, nullptr) : "(null)";
  }

  std::shared_ptr<Core> core;
  std::unique_ptr<Operation> operation;
  const CMPIBroker* mb;
  CMPIStatus rc{CMPI_RC_OK, nullptr};
};

}  // namespace broker
