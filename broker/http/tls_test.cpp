// What is agreed upon in a handshake, and which certificates serve.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "broker/http/test_tls.h"

namespace broker::http {
namespace {

using State = Channel::State;

constexpr long kDay = 86400;  // in seconds

const Certificate& rsa() {
  static const Certificate made = make_certificate({GNUTLS_PK_RSA, 2048});
  return made;
}

const Certificate& ecdsa() {
  static const Certificate made = make_certificate();
  return made;
}

struct Offer {
  const Certificate& certificate;
  std::string priorities;
};

// What is agreed upon with a client that offers only this.
Handshake agree(const Offer& offer) {
  const SocketPair sockets;
  const auto channel =
      tls_channel(sockets.ours.get(), std::make_shared<const TlsSettings>(offer.certificate));
  TlsClient client(sockets.peer.get(), offer.priorities);
  return shake_hands(*channel, client);
}

std::string of_1_2(const std::string& kind, const std::string& names) {
  return "NORMAL:-VERS-ALL:+VERS-TLS1.2:-" + kind + "-ALL:+" + names;
}

std::string of_1_3(const std::string& kind, const std::string& names) {
  return "NORMAL:-VERS-ALL:+VERS-TLS1.3:-" + kind + "-ALL:+" + names;
}

TEST(TlsOffer, TakesWhatIsGood) {
  const Certificate edwards = make_certificate({GNUTLS_PK_EDDSA_ED25519, 256});
  const Certificate pss = make_certificate({GNUTLS_PK_RSA_PSS, 2048});
  std::vector<Offer> offers = {{rsa(), "NORMAL"},
                               {ecdsa(), "NORMAL"},
                               {edwards, "NORMAL"},
                               {pss, "NORMAL"},
                               {rsa(), of_1_2("KX", "ECDHE-RSA")},
                               {ecdsa(), of_1_2("KX", "ECDHE-ECDSA")},
                               {rsa(), of_1_2("SIGN", "SIGN-RSA-SHA256")},
                               {rsa(), of_1_2("SIGN", "SIGN-RSA-SHA512")},
                               {rsa(), of_1_3("SIGN", "SIGN-RSA-PSS-RSAE-SHA256")},
                               {ecdsa(), of_1_2("SIGN", "SIGN-ECDSA-SHA256")},
                               {ecdsa(), of_1_3("SIGN", "SIGN-ECDSA-SECP256R1-SHA256")}};
  for (const char* cipher : {"AES-256-GCM", "CHACHA20-POLY1305", "AES-128-GCM"}) {
    offers.push_back({rsa(), of_1_2("CIPHER", cipher)});
    offers.push_back({ecdsa(), of_1_3("CIPHER", cipher)});
  }
  for (const char* group : {"GROUP-X25519", "GROUP-SECP256R1", "GROUP-SECP384R1"}) {
    offers.push_back({ecdsa(), of_1_2("GROUP", "GROUP-SECP256R1:+" + std::string(group))});
    offers.push_back({rsa(), of_1_3("GROUP", group)});
  }
  for (const Offer& offer : offers) {
    const Handshake done = agree(offer);
    EXPECT_EQ(done.client, 0) << offer.priorities << ": " << gnutls_strerror(done.client);
    EXPECT_EQ(done.server, State::Good) << offer.priorities;
  }
}

TEST(TlsOffer, RefusesWhatIsNot) {
  std::vector<Offer> offers = {
      {rsa(), "NORMAL:-VERS-ALL:+VERS-TLS1.1"},
      {rsa(), "NORMAL:-VERS-ALL:+VERS-TLS1.0"},
      {rsa(), of_1_2("KX", "RSA")},
      {rsa(), of_1_2("KX", "ANON-ECDH")},
      {rsa(), of_1_2("KX", "DHE-RSA:-GROUP-ALL:+GROUP-FFDHE2048")},
      {rsa(), of_1_3("GROUP", "GROUP-FFDHE2048")},
      {rsa(), of_1_2("SIGN", "SIGN-RSA-SHA1")},
      {ecdsa(), of_1_2("SIGN", "SIGN-ECDSA-SHA1")},
  };
  for (const char* cipher :
       {"AES-128-CBC:+MAC-ALL", "AES-256-CBC:+MAC-ALL", "CAMELLIA-256-CBC:+MAC-ALL",
        "3DES-CBC:+MAC-ALL", "ARCFOUR-128:+MAC-ALL", "NULL:+MAC-ALL", "AES-128-CCM",
        "AES-128-CCM-8"})
    offers.push_back({rsa(), of_1_2("CIPHER", cipher)});
  for (const char* cipher : {"AES-128-CCM", "AES-128-CCM-8"})
    offers.push_back({rsa(), of_1_3("CIPHER", cipher)});
  for (const Offer& offer : offers) {
    const Handshake done = agree(offer);
    EXPECT_EQ(done.server, State::Broken) << offer.priorities;
    EXPECT_EQ(done.client, GNUTLS_E_FATAL_ALERT_RECEIVED)
        << offer.priorities << ": " << gnutls_strerror(done.client);
  }
}

TEST(TlsOffer, ServerPicks) {
  for (const char* version : {"VERS-TLS1.2", "VERS-TLS1.3"}) {
    const SocketPair sockets;
    const auto channel =
        tls_channel(sockets.ours.get(), std::make_shared<const TlsSettings>(rsa()));
    TlsClient client(sockets.peer.get(), "NORMAL:-VERS-ALL:+" + std::string(version) +
                                             ":-CIPHER-ALL:+AES-128-GCM:+AES-256-GCM");
    EXPECT_EQ(shake_hands(*channel, client).server, State::Good);
    EXPECT_EQ(gnutls_cipher_get(client.session), GNUTLS_CIPHER_AES_256_GCM);
    EXPECT_EQ(gnutls_session_is_resumed(client.session), 0);
  }
}

std::string fault_of(const Certificate& certificate) {
  try {
    const TlsSettings settings(certificate);
    return "";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

TEST(TlsCertificate, FaultsSayWhatToDo) {
  const std::string begin = "-----BEGIN CERTIFICATE-----\n";
  const Certificate cut = {ecdsa().chain.substr(0, 200), ecdsa().key};
  const Certificate no_key = {ecdsa().chain, ecdsa().key.substr(0, 60)};
  const Certificate encipherment =
      make_certificate({GNUTLS_PK_RSA, 2048, GNUTLS_KEY_KEY_ENCIPHERMENT});
  TestCertificate with_password;
  with_password.password = "secret";
  const struct {
    Certificate certificate;
    const char* says;
  } cases[] = {{{"", ecdsa().key}, "the certificate cannot be read; give the chain as PEM"},
               {{"no PEM\n", ecdsa().key}, "the certificate cannot be read"},
               {{begin, ecdsa().key}, "the certificate cannot be read"},
               {cut, "the certificate cannot be read"},
               {{ecdsa().key, ecdsa().key}, "the certificate cannot be read"},
               {no_key, "the key cannot be read; give the certificate's private key as PEM"},
               {{ecdsa().chain, ecdsa().chain}, "the key cannot be read"},
               {{ecdsa().chain, make_certificate().key}, "the key is not the certificate's"},
               {{ecdsa().chain, rsa().key}, "the key is not the certificate's"},
               {make_certificate(with_password), "protected by a password"},
               {encipherment, "not for digital signatures"}};
  for (const auto& [certificate, says] : cases) {
    const std::string fault = fault_of(certificate);
    EXPECT_NE(fault.find(says), std::string::npos) << fault << " / " << says;
    EXPECT_EQ(fault.find('\n'), std::string::npos) << fault;
  }
}

TEST(TlsCertificate, ChainAndTextAroundItAreTaken) {
  EXPECT_EQ(fault_of({"Bag Attributes\n" + ecdsa().chain + rsa().chain, ecdsa().key}), "");
  EXPECT_EQ(fault_of({ecdsa().chain + ecdsa().key, ecdsa().chain + ecdsa().key}), "");
  EXPECT_NE(fault_of({rsa().chain + ecdsa().chain, ecdsa().key}), "");
}

TEST(TlsCertificate, OneOutOfDateServesAndSaysSo) {
  TestCertificate what;
  EXPECT_EQ(TlsSettings(make_certificate(what)).out_of_date(), "");
  what.begins = -3 * kDay;
  what.ends = -kDay;
  const Certificate ended = make_certificate(what);
  EXPECT_EQ(TlsSettings(ended).out_of_date().substr(0, 14), "it ended on 20");
  EXPECT_EQ(agree({ended, "NORMAL"}).server, State::Good);
  what.begins = kDay;
  what.ends = 2 * kDay;
  EXPECT_EQ(TlsSettings(make_certificate(what)).out_of_date().substr(0, 15), "it begins on 20");
}

}  // namespace
}  // namespace broker::http
