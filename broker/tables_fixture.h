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
      : core_(std::make_shared<Core>(test_schema(), Options{})),
        operation_(std::make_unique<Operation>(*core_, Request{}, 0)),
        mb_(&core_->tables().broker) {}

  CMPIObjectPath* path(const char* class_name) {
    return mb_->eft->newObjectPath(mb_, "root/cimv2", class_name, &rc_);
  }
  CMPIInstance* instance(const char* class_name) {
    return mb_->eft->newInstance(mb_, path(class_name), &rc_);
  }
  CMPIString* string(const char* text) { return mb_->eft->newString(mb_, text, &rc_); }
  static std::string text(const CMPIString* string) {
    return string ? string->ft->getCharPtr(string, nullptr) : "(null)";
  }

  std::shared_ptr<Core> core_;
  std::unique_ptr<Operation> operation_;
  const CMPIBroker* mb_;
  CMPIStatus rc_{CMPI_RC_OK, nullptr};
};

}  // namespace broker
