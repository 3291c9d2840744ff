// Classes that the tests of the object manager work with, and their registration to the
// providers of the library test_provider.
#pragma once

#include <string>

#include "broker/object_manager.h"

namespace broker {

//   TEST_Base                     key Name; Caption
//   +-- TEST_Widget               every type of property, methods
//   |   +-- TEST_Gadget           Extra; a provider of its own
//   +-- TEST_Plain                no provider
//   TEST_Link                     association of First (TEST_Widget) and Second (TEST_Base)
//   TEST_OtherLink                association of two TEST_Plain, whose provider must not be asked
//   TEST_Faulty                   served by what the test registers
const Schema& test_schema();

// Options with every provider registered and the library found beside the test program.
Options test_options();
RegistrationEntry test_entry(const std::string& class_name, const std::string& provider,
                             const std::string& types);

}  // namespace broker
