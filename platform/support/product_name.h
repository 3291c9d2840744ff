// The machine type in a product name.
#pragma once

#include <string>

#include "platform/support/logger.h"

namespace NKVRHVX20 {

// The four characters that identify a server's model, cut out of the product name that its SMBIOS
// system information gives: the second to fifth after the first hyphen ("System -[AAAAB2C]-"
// gives "AAAA", fewer when the name ends before), else the first four of a name of exactly seven
// characters; empty when the name has neither form. Pure. Throws std::out_of_range for a name
// whose first hyphen is its last character, kept on purpose: callers differ in what they make of
// such a name.
HVX_EXPORT std::string machine_type_from_product_name(const std::string& product_name);

}  // namespace NKVRHVX20
