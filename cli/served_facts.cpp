#include "cli/served_facts.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gnutls/crypto.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <fstream>

#include "broker/cimxml/functional_groups.h"
#include "broker/cimxml/writer.h"

namespace cli {
namespace {

constexpr std::size_t kIdDigits = 32;
constexpr std::string_view kPurpose = "hddtest object manager";

std::string read_machine_id() {
  std::ifstream file("/etc/machine-id");
  std::string line;
  std::getline(file, line);
  return line;
}

}  // namespace

std::string server_name(std::string_view machine_id, const std::string& host) {
  while (!machine_id.empty() && machine_id.back() == '\n') machine_id.remove_suffix(1);
  const bool whole = machine_id.size() == kIdDigits &&
                     std::all_of(machine_id.begin(), machine_id.end(),
                                 [](unsigned char digit) { return std::isxdigit(digit) != 0; });
  std::array<unsigned char, 32> hash{};
  if (!whole || gnutls_hmac_fast(GNUTLS_MAC_SHA256, machine_id.data(), machine_id.size(),
                                 kPurpose.data(), kPurpose.size(), hash.data()) != 0)
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
