#include "broker/http/test_tls.h"

#include <gnutls/x509.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

namespace broker::http {
namespace {

void check(int error) { ASSERT_GE(error, 0) << gnutls_strerror(error); }

std::string text_of(gnutls_datum_t& data) {
  std::string text(reinterpret_cast<const char*>(data.data), data.size);
  gnutls_free(data.data);
  return text;
}

ssize_t push(gnutls_transport_ptr_t client, const void* data, std::size_t size) {
  static_cast<TlsClient*>(client)->outgoing.append(static_cast<const char*>(data), size);
  return static_cast<ssize_t>(size);
}

ssize_t pull(gnutls_transport_ptr_t self, void* to, std::size_t most) {
  TlsClient& client = *static_cast<TlsClient*>(self);
  if (client.incoming.empty()) {
    gnutls_transport_set_errno(client.session, EAGAIN);
    return -1;
  }
  const std::size_t count = client.incoming.copy(static_cast<char*>(to), most);
  client.incoming.erase(0, count);
  return static_cast<ssize_t>(count);
}

}  // namespace

Certificate make_certificate(const TestCertificate& what) {
  gnutls_x509_privkey_t key = nullptr;
  gnutls_x509_crt_t certificate = nullptr;
  check(gnutls_x509_privkey_init(&key));
  check(gnutls_x509_privkey_generate(key, what.algorithm, what.bits, 0));
  check(gnutls_x509_crt_init(&certificate));
  check(gnutls_x509_crt_set_version(certificate, 3));
  check(gnutls_x509_crt_set_serial(certificate, "\1", 1));
  check(gnutls_x509_crt_set_dn(certificate, "CN=localhost", nullptr));
  const time_t now = time(nullptr);
  check(gnutls_x509_crt_set_activation_time(certificate, now + what.begins));
  check(gnutls_x509_crt_set_expiration_time(certificate, now + what.ends));
  if (what.usage != 0) check(gnutls_x509_crt_set_key_usage(certificate, what.usage));
  check(gnutls_x509_crt_set_key(certificate, key));
  const bool edwards =
      what.algorithm == GNUTLS_PK_EDDSA_ED25519 || what.algorithm == GNUTLS_PK_EDDSA_ED448;
  check(gnutls_x509_crt_sign2(certificate, certificate, key,
                              edwards ? GNUTLS_DIG_UNKNOWN : GNUTLS_DIG_SHA256, 0));
  gnutls_datum_t chain{};
  gnutls_datum_t secret{};
  check(gnutls_x509_crt_export2(certificate, GNUTLS_X509_FMT_PEM, &chain));
  if (what.password) {
    std::size_t size = 1 << 14;
    secret = {static_cast<unsigned char*>(gnutls_malloc(size)), 0};
    check(gnutls_x509_privkey_export_pkcs8(key, GNUTLS_X509_FMT_PEM, what.password,
                                           GNUTLS_PKCS_PBES2_AES_128, secret.data, &size));
    secret.size = static_cast<unsigned>(size);
  } else {
    check(gnutls_x509_privkey_export2_pkcs8(key, GNUTLS_X509_FMT_PEM, nullptr, 0, &secret));
  }
  gnutls_x509_crt_deinit(certificate);
  gnutls_x509_privkey_deinit(key);
  return {text_of(chain), text_of(secret)};
}

SocketPair::SocketPair() {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
  ours = platform::Descriptor(ends[0]);
  peer = platform::Descriptor(ends[1]);
}

TlsClient::TlsClient(int socket, const std::string& priorities) : socket_(socket) {
  check(gnutls_init(&session, GNUTLS_CLIENT | GNUTLS_NONBLOCK));
  const char* fault = nullptr;
  EXPECT_EQ(gnutls_priority_set_direct(session, priorities.c_str(), &fault), 0) << fault;
  check(gnutls_certificate_allocate_credentials(&credentials_));
  check(gnutls_anon_allocate_client_credentials(&anonymous_));
  check(gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials_));
  check(gnutls_credentials_set(session, GNUTLS_CRD_ANON, anonymous_));
  gnutls_transport_set_ptr(session, this);
  gnutls_transport_set_push_function(session, push);
  gnutls_transport_set_pull_function(session, pull);
}

TlsClient::~TlsClient() {
  gnutls_deinit(session);
  gnutls_certificate_free_credentials(credentials_);
  gnutls_anon_free_client_credentials(anonymous_);
}

void TlsClient::send(std::string_view text) {
  EXPECT_EQ(gnutls_record_send(session, text.data(), text.size()),
            static_cast<ssize_t>(text.size()));
}

std::string TlsClient::receive() {
  std::string all;
  for (;;) {
    char some[1 << 14];
    const ssize_t count = gnutls_record_recv(session, some, sizeof some);
    if (count > 0) {
      all.append(some, static_cast<std::size_t>(count));
    } else {
      EXPECT_TRUE(count == 0 || count == GNUTLS_E_AGAIN)
          << gnutls_strerror(static_cast<int>(count));
      return all;
    }
  }
}

void TlsClient::carry(std::size_t most) {
  const ssize_t sent = ::send(socket_, outgoing.data(), std::min(most, outgoing.size()),
                              MSG_DONTWAIT | MSG_NOSIGNAL);
  if (sent > 0) outgoing.erase(0, static_cast<std::size_t>(sent));
  char some[1 << 16];
  ssize_t count = recv(socket_, some, sizeof some, MSG_DONTWAIT);
  while (count > 0) {
    incoming.append(some, static_cast<std::size_t>(count));
    count = recv(socket_, some, sizeof some, MSG_DONTWAIT);
  }
}

Handshake shake_hands(Channel& server, TlsClient& client) {
  Handshake now{Channel::State::WantsRead, GNUTLS_E_AGAIN};
  for (int step = 0; step < 100; ++step) {
    if (now.client == GNUTLS_E_AGAIN) now.client = client.shake_hands();
    client.carry();
    if (now.server == Channel::State::WantsRead || now.server == Channel::State::WantsWrite)
      now.server = server.shake_hands();
    client.carry();
    if (now.server != Channel::State::WantsRead && now.client != GNUTLS_E_AGAIN) break;
  }
  return now;
}

}  // namespace broker::http
