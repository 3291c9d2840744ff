// The other end of a channel, for tests: certificates, and a TLS client that does one step at a
// time.
#pragma once

#include <gnutls/gnutls.h>

#include <string>
#include <string_view>

#include "broker/http/channel.h"
#include "broker/http/server_options.h"
#include "platform/descriptor.h"

namespace broker::http {

struct TestCertificate {
  gnutls_pk_algorithm_t algorithm = GNUTLS_PK_ECDSA;
  unsigned bits = GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1);
  unsigned usage = 0;   // 0: for every use
  long begins = -3600;  // seconds from now
  long ends = 86400;    // seconds from now
  const char* password = nullptr;
};
// Signed by itself.
Certificate make_certificate(const TestCertificate& what = {});

// Two connected sockets that do not block.
struct SocketPair {
  SocketPair();

  platform::Descriptor ours;  // the channel's
  platform::Descriptor peer;
};

// A TLS client on a socket that moves only as many bytes as the test lets through.
class TlsClient {
 public:
  TlsClient(int socket, const std::string& priorities);
  ~TlsClient();
  TlsClient(const TlsClient&) = delete;

  int shake_hands() { return gnutls_handshake(session); }
  // A text that is one record at most.
  void send(std::string_view text);
  // What has come, decrypted; fails the test at an alert.
  std::string receive();
  // Lets that many bytes go at most, and takes all that has come.
  void carry(std::size_t most = std::string::npos);

  gnutls_session_t session = nullptr;
  std::string outgoing;
  std::string incoming;

 private:
  int socket_;
  gnutls_certificate_credentials_t credentials_ = nullptr;
  gnutls_anon_client_credentials_t anonymous_ = nullptr;
};

// Both ends shake hands, step by step, until both are done or one gives up.
struct Handshake {
  Channel::State server;
  int client;  // of GnuTLS; 0: done
};
Handshake shake_hands(Channel& server, TlsClient& client);

}  // namespace broker::http
