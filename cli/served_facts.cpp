#include "cli/served_facts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gnutls/crypto.h>

#include <array>
#include <fstream>

#include "broker/cimxml/functional_groups.h"
#include "broker/cimxml/writer.h"
#include "platform/support/machine_id.h"

namespace cli {
namespace {

constexpr std::string_view kPurpose = "hddtest object manager";

std::string read_machine_id() {
  std::ifstream file(NKVRHVX20::kMachineIdFile);
  std::string line;
  std::getline(file, line);
  return line;
}

}  // namespace

std::string server_name(std::string_view machine_id, const std::string& host) {
  machine_id = platform::trim_end(machine_id, "\n");
  std::array<unsigned char, 32> hash{};
  if (NKVRHVX20::machine_id_in(machine_id).empty() ||
      gnutls_hmac_fast(GNUTLS_MAC_SHA256, machine_id.data(), machine_id.size(), kPurpose.data(),
                       kPurpose.size(), hash.data()) != 0)
    return "KAVRO:hddtest@" + host;
  return fmt::format("KAVRO:hddtest:{:02x}", fmt::join(hash.begin(), hash.begin() + 16, ""));
}

broker::InteropFacts served_facts(const ServerStart& started) {
  const std::string& host = broker::cimxml::host_name();
  return {.name = server_name(read_machine_id(), host),
          .product = "hddtest object manager",
          .version = HDDTEST_VERSION,
          .system_class = "KAVRO_ComputerSystem",
          .system_name = host,
          .operations = broker::cimxml::functional_group_numbers(),
          .encrypts = started.encrypts,
          .authenticates = started.authenticates,
          .longest_timeout = started.longest_timeout,
          .profiles = {{.organization = "KAVRO",
                        .name = "Hard Drive Self Test",
                        .version = "1.0.0",
                        .central_class = "KAVRO_HDDTest_DiagnosticService"}}};
}

}  // namespace cli
