// SCSI addresses: the kernel's H:C:T:L, and the text that bus devices are published with.
#include "fuzz/target.h"

#include "discovery/classification.h"
#include "inventory/scsi.h"

void fuzz::read_input(std::string_view input) {
  const std::string text(input);
  const auto id = discovery::bus_id(text);
  require(id.has_value() == (text.find("Port:") != std::string::npos), "an address has a port");
  require(id.value_or("").size() <= 7, "of each part one character is taken");

  const auto address = inventory::parse_address(input);
  if (!address) return;
  const std::string written = inventory::to_string(*address);
  require(inventory::parse_address(written) == address, "what is written reads the same");
  require(written.size() <= text.size(), "what is written is the shortest form");
  const auto published = discovery::bus_id(inventory::address_text(*address));
  require(published && published->size() == 7, "a published address has a bus ID");
  if (written.size() == 7) require(*published == written, "of one digit each, it is the same");
}
