// Who holds a port of this machine, and what to do when the server cannot have it.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "broker/http/address.h"

namespace cli {

// "process 812 (sfcbd)", or "another process" where we may not see whose it is. Empty when nobody
// listens at this TCP address, or at all addresses of the machine. proc: the folder to read in
// place of /proc.
std::string who_listens(const broker::http::Address& address,
                        const std::filesystem::path& proc = "/proc");

// Why the server cannot listen there, with what to do.
std::string listening_fault(const std::system_error& error, const broker::http::Address& address);

}  // namespace cli
