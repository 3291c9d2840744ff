#include "cli/certificate.h"

#include <fstream>
#include <iterator>
#include <system_error>

#include "broker/http/channel.h"
#include "cli/failure.h"
#include "cli/places.h"

namespace cli {
namespace {

std::string read_pem(const std::filesystem::path& file) {
  if (const std::string fault = reading_fault(file); !fault.empty())
    throw CommandFailure("cannot read " + file.string() + ": " + fault);
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// The text of a key that others may not use. Whether it is a key comes first, so that nobody is
// told to change the mode of a file that serves another purpose.
std::string read_key(const std::filesystem::path& file) {
  using std::filesystem::perms;
  std::string text = read_pem(file);
  if (text.find("PRIVATE KEY-----") == text.npos)
    throw CommandFailure("there is no private key in " + file.string() +
                         "; name the PEM file of the certificate's key with --key");
  std::error_code error;
  const perms mode = std::filesystem::status(file, error).permissions();
  if (!error && (mode & perms::others_all) != perms::none)
    throw CommandFailure("the key " + file.string() + " is open to everybody; chmod 600 it");
  return text;
}

}  // namespace

ReadCertificate read_certificate(const CertificateFiles& files) {
  ReadCertificate read{{read_pem(files.chain), read_key(files.key)}, ""};
  try {
    read.out_of_date = broker::http::TlsSettings(read.certificate).out_of_date();
  } catch (const std::runtime_error& error) {
    throw CommandFailure("certificate " + files.chain.string() + ", key " + files.key.string() +
                         ": " + error.what());
  }
  return read;
}

}  // namespace cli
