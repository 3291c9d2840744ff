// The server's certificate and its key, from their files.
#pragma once

#include <filesystem>
#include <string>

#include "broker/http/server_options.h"

namespace cli {

struct CertificateFiles {
  std::filesystem::path chain;
  std::filesystem::path key;
};

struct ReadCertificate {
  broker::http::Certificate certificate;
  std::string out_of_date;  // why clients refuse it at present, or empty
};

// Throws CommandFailure, which names the files and says what to do, when a file cannot be read or
// holds no certificate or key, when the key belongs to another certificate, or when others may use
// the key.
ReadCertificate read_certificate(const CertificateFiles& files);

}  // namespace cli
