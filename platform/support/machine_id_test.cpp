#include "platform/support/machine_id.h"

#include <gtest/gtest.h>

namespace NKVRHVX20 {
namespace {

TEST(MachineId, IsThirtyTwoDigitsInLowerCase) {
  const std::string id = "0123456789abcdef0123456789abcdef";
  EXPECT_EQ(machine_id_in(id), id);
  EXPECT_EQ(machine_id_in("0123456789ABCDEF0123456789abcdef\n"), id);
  for (const std::string& text : {std::string(), std::string("uninitialized\n"), id.substr(1),
                                  id + "0", "g" + id.substr(1), " " + id})
    EXPECT_EQ(machine_id_in(text), "") << text;
}

}  // namespace
}  // namespace NKVRHVX20
