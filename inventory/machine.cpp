#include "inventory/machine.h"

#include <unistd.h>

#include "inventory/device_text.h"

namespace inventory {

std::string host_name() {
  char name[256] = {};  // longer than any that Linux holds; one byte is left for the final NUL
  gethostname(name, sizeof name - 1);
  std::string text = cleaned(static_cast<const char*>(name));
  return text.empty() ? "localhost" : text;
}

Machine read_machine(const Sysfs& sysfs) {
  const auto text = [&](const char* name) {
    return sysfs.text(std::string("/sys/class/dmi/id/") + name);
  };
  return {text("sys_vendor"), text("product_name"), text("product_version"), text("product_uuid"),
          text("product_serial")};
}

}  // namespace inventory
