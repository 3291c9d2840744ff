// TLS by GnuTLS: certificates, and channels through it.
#include <gnutls/x509.h>
#include <sys/socket.h>

#include <ctime>
#include <stdexcept>
#include <utility>
#include <vector>

#include "broker/http/channel.h"
#include "broker/http/server_options.h"

namespace broker::http {
namespace {

// What is served. All else is refused, also what a later GnuTLS adds. The groups of finite fields
// are not among it, since a handshake with them costs the server many times what it costs the
// client.
constexpr const char* kPriorities =
    "NONE:%SERVER_PRECEDENCE:+VERS-TLS1.3:+VERS-TLS1.2:+COMP-NULL:"
    "+ECDHE-ECDSA:+ECDHE-RSA:"
    "+GROUP-X25519:+GROUP-SECP256R1:+GROUP-SECP384R1:+GROUP-SECP521R1:"
    "+AES-256-GCM:+CHACHA20-POLY1305:+AES-128-GCM:+AEAD:"
    "+SIGN-ECDSA-SHA256:+SIGN-ECDSA-SHA384:+SIGN-ECDSA-SHA512:"
    "+SIGN-ECDSA-SECP256R1-SHA256:+SIGN-ECDSA-SECP384R1-SHA384:+SIGN-ECDSA-SECP521R1-SHA512:"
    "+SIGN-EDDSA-ED25519:+SIGN-EDDSA-ED448:"
    "+SIGN-RSA-PSS-SHA256:+SIGN-RSA-PSS-SHA384:+SIGN-RSA-PSS-SHA512:"
    "+SIGN-RSA-PSS-RSAE-SHA256:+SIGN-RSA-PSS-RSAE-SHA384:+SIGN-RSA-PSS-RSAE-SHA512:"
    "+SIGN-RSA-SHA256:+SIGN-RSA-SHA384:+SIGN-RSA-SHA512";

// Warning alerts in the life of a connection. A client that sends more wants to keep the thread
// busy.
constexpr unsigned kMostWarnings = 8;

gnutls_datum_t datum(const std::string& text) {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text.data());
  return {const_cast<unsigned char*>(bytes), static_cast<unsigned>(text.size())};
}

[[noreturn]] void fail(const std::string& what, int error) {
  throw std::runtime_error(what + " (" + gnutls_strerror(error) + ")");
}

// The certificates of a PEM text, the server's own first.
class Chain {
 public:
  explicit Chain(const std::string& text) {
    const gnutls_datum_t data = datum(text);
    const int error =
        gnutls_x509_crt_list_import2(&certificates_, &count_, &data, GNUTLS_X509_FMT_PEM, 0);
    if (error < 0)
      fail("the certificate cannot be read; give the chain as PEM text, the server's own first",
           error);
  }
  ~Chain() {
    for (unsigned at = 0; at < count_; ++at) gnutls_x509_crt_deinit(certificates_[at]);
    gnutls_free(certificates_);
  }
  Chain(const Chain&) = delete;

  gnutls_x509_crt_t own() const { return certificates_[0]; }

 private:
  gnutls_x509_crt_t* certificates_ = nullptr;
  unsigned count_ = 0;
};

void check_key(const std::string& text) {
  const gnutls_datum_t data = datum(text);
  gnutls_x509_privkey_t key = nullptr;
  int error = gnutls_x509_privkey_init(&key);
  if (error == 0) {
    error = gnutls_x509_privkey_import2(key, &data, GNUTLS_X509_FMT_PEM, nullptr, 0);
    gnutls_x509_privkey_deinit(key);
  }
  if (error == GNUTLS_E_DECRYPTION_FAILED)
    throw std::runtime_error(
        "the key is protected by a password, and nobody is there to type it; "
        "give it without one (openssl pkey -in FILE -out NEW)");
  if (error < 0)
    fail("the key cannot be read; give the certificate's private key as PEM text", error);
}

// The key must be able to sign handshakes, as all that is served does.
void check_use(gnutls_x509_crt_t certificate) {
  const int algorithm = gnutls_x509_crt_get_pk_algorithm(certificate, nullptr);
  bool can_sign = false;
  for (const int able : {GNUTLS_PK_RSA, GNUTLS_PK_RSA_PSS, GNUTLS_PK_ECDSA, GNUTLS_PK_EDDSA_ED25519,
                         GNUTLS_PK_EDDSA_ED448})
    can_sign = can_sign || algorithm == able;
  unsigned usage = 0;
  if (gnutls_x509_crt_get_key_usage(certificate, &usage, nullptr) >= 0)
    can_sign = can_sign && (usage & GNUTLS_KEY_DIGITAL_SIGNATURE) != 0;
  if (!can_sign)
    throw std::runtime_error(
        "no client could connect with the certificate: it is not for digital "
        "signatures; make one with an RSA, ECDSA or EdDSA key and that usage");
}

std::string day_of(time_t time) {
  tm parts{};
  char text[32] = "";
  gmtime_r(&time, &parts);
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &parts)};
}

}  // namespace

struct TlsSettings::Parts {
  gnutls_certificate_credentials_t credentials = nullptr;
  gnutls_priority_t priority = nullptr;
  time_t begins = 0;
  time_t ends = 0;

  ~Parts() {
    if (credentials) gnutls_certificate_free_credentials(credentials);
    if (priority) gnutls_priority_deinit(priority);
  }
};

TlsSettings::TlsSettings(const Certificate& certificate) : parts_(std::make_unique<Parts>()) {
  const Chain chain(certificate.chain);
  check_key(certificate.key);
  check_use(chain.own());
  parts_->begins = gnutls_x509_crt_get_activation_time(chain.own());
  parts_->ends = gnutls_x509_crt_get_expiration_time(chain.own());
  int error = gnutls_priority_init(&parts_->priority, kPriorities, nullptr);
  if (error == 0) error = gnutls_certificate_allocate_credentials(&parts_->credentials);
  if (error < 0) fail("cannot set up TLS", error);
  const gnutls_datum_t chain_text = datum(certificate.chain);
  const gnutls_datum_t key_text = datum(certificate.key);
  error = gnutls_certificate_set_x509_key_mem2(parts_->credentials, &chain_text, &key_text,
                                               GNUTLS_X509_FMT_PEM, nullptr, 0);
  if (error == GNUTLS_E_CERTIFICATE_KEY_MISMATCH)
    throw std::runtime_error(
        "the key is not the certificate's; give the two that were made "
        "together, the server's own certificate first");
  if (error < 0) fail("certificate and key cannot be used", error);
}

TlsSettings::~TlsSettings() = default;

std::string TlsSettings::out_of_date() const {
  const time_t now = time(nullptr);
  // A certificate that names no end has none.
  if (parts_->ends != static_cast<time_t>(-1) && parts_->ends < now)
    return "it ended on " + day_of(parts_->ends);
  if (parts_->begins != static_cast<time_t>(-1) && parts_->begins > now)
    return "it begins on " + day_of(parts_->begins);
  return "";
}

class TlsChannel : public Channel {
 public:
  TlsChannel(int socket, std::shared_ptr<const TlsSettings> settings)
      : socket_(socket), settings_(std::move(settings)) {
    const TlsSettings::Parts& parts = *settings_->parts_;
    // No tickets: with their key, once stolen, one could read connections that were recorded
    // before.
    int error = gnutls_init(&session_,
                            GNUTLS_SERVER | GNUTLS_NONBLOCK | GNUTLS_NO_SIGNAL | GNUTLS_NO_TICKETS);
    if (error < 0) fail("cannot begin TLS", error);
    error = gnutls_priority_set(session_, parts.priority);
    if (error == 0)
      error = gnutls_credentials_set(session_, GNUTLS_CRD_CERTIFICATE, parts.credentials);
    if (error < 0) {
      gnutls_deinit(session_);
      fail("cannot begin TLS", error);
    }
    gnutls_transport_set_int(session_, socket_);
  }
  ~TlsChannel() override { gnutls_deinit(session_); }

  State shake_hands() override {
    int error = 0;
    do error = gnutls_handshake(session_);
    while (error < 0 && goes_on(error));
    // The alert tells the client that it was refused and not cut off.
    if (error < 0 && gnutls_error_is_fatal(error) != 0)
      gnutls_alert_send_appropriate(session_, error);
    open_ = error == 0;
    return open_ ? State::Good : state_of(error);
  }

  Moved read(char* to, std::size_t most) override {
    ssize_t count = 0;
    do count = gnutls_record_recv(session_, to, most);
    while (count < 0 && goes_on(count));
    if (count > 0) return {static_cast<std::size_t>(count), State::Good};
    return {0, count == 0 ? State::Ended : state_of(count)};
  }

  Moved write(std::string_view text) override {
    std::size_t done = 0;
    while (done < text.size()) {
      // GnuTLS is asked with no text to send the record that it holds: the text's beginning.
      const std::string_view rest = held_ ? std::string_view() : text.substr(done);
      const ssize_t count = gnutls_record_send(session_, rest.data(), rest.size());
      if (count >= 0) {
        done += static_cast<std::size_t>(count);
        held_ = false;
      } else if (!goes_on(count)) {
        held_ = held_ || !gnutls_error_is_fatal(static_cast<int>(count));
        return {done, state_of(count)};
      } else {
        held_ = true;
      }
    }
    return {done, State::Good};
  }

  State say_goodbye() override {
    int error = 0;
    if (open_) {
      do error = gnutls_bye(session_, GNUTLS_SHUT_WR);
      while (error < 0 && goes_on(error));
    }
    if (error < 0) return state_of(error);
    return shutdown(socket_, SHUT_WR) == 0 ? State::Good : State::Broken;
  }

 private:
  // Whether to call again at once.
  bool goes_on(ssize_t error) {
    if (error == GNUTLS_E_WARNING_ALERT_RECEIVED) return ++warnings_ <= kMostWarnings;
    return error == GNUTLS_E_INTERRUPTED;
  }

  // The connection of a client that wants to shake hands anew ends too. TLS 1.3 has no such thing,
  // and before it this was a way to keep a server computing.
  State state_of(ssize_t error) {
    if (error == GNUTLS_E_AGAIN)
      return gnutls_record_get_direction(session_) == 0 ? State::WantsRead : State::WantsWrite;
    if (error == GNUTLS_E_PREMATURE_TERMINATION) return State::Ended;
    if (error == GNUTLS_E_REHANDSHAKE)
      gnutls_alert_send(session_, GNUTLS_AL_FATAL, GNUTLS_A_NO_RENEGOTIATION);
    return State::Broken;
  }

  const int socket_;
  const std::shared_ptr<const TlsSettings> settings_;
  gnutls_session_t session_ = nullptr;
  bool open_ = false;  // the handshake is done
  bool held_ = false;  // GnuTLS holds a record that the socket did not take
  unsigned warnings_ = 0;
};

std::unique_ptr<Channel> tls_channel(int socket, std::shared_ptr<const TlsSettings> settings) {
  return std::make_unique<TlsChannel>(socket, std::move(settings));
}

}  // namespace broker::http
