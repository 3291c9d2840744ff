// The server's certificate and its key, from their files.
#pragma once

#include <filesystem>
#include <string>

#include "broker/http/options.h"

namespace cli {

struct CertificateFiles {
  std::filesystem::path chain;
  std::filesystem::path key;
};

struct ReadCertificate {
  broker::http::Certificate certificate;
  std::string out_of_date;  // why clients will refuse it as of now; empty when they need not
};

// Throws CommandFailure, one line that names the files and says what to do: one cannot be read, is
// none, belongs to another one, or the key is open to everybody.
ReadCertificate read_certificate(const CertificateFiles& files);

}  // namespace cli
