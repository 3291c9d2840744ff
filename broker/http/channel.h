// The bytes of one connection, plain or through TLS, without ever blocking.
//
// A channel moves what can be moved at once, and then says what to wait for. With TLS that can be
// either direction of the socket, whatever was asked for. Nothing that the peer sends throws.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace broker::http {

struct Certificate;

// Belongs to one thread at a time.
class Channel {
 public:
  enum class State {
    Good,        // done as far as asked
    WantsRead,   // to be called again when the socket can be read
    WantsWrite,  // to be called again when the socket can be written
    Ended,       // the peer sends no more
    Broken       // of no use any more: the socket is to be closed
  };
  struct Moved {
    std::size_t count;
    State state;
  };

  virtual ~Channel() = default;

  // To be called before the first read or write, until it is good. Plain channels are good at once.
  virtual State shake_hands() = 0;
  // good has moved at least one byte, the other states none. TLS may hold bytes that a
  // poll does not report: the caller reads until the state is no longer good, and waits
  // then. A TLS peer that ends without saying so has ended too, since a request tells its own
  // length.
  virtual Moved read(char* to, std::size_t most) = 0;
  // good has moved all of it. Otherwise the next text must begin with the rest, since TLS may have
  // put that into a record already; it may be longer. When the peer has gone: broken.
  virtual Moved write(std::string_view text) = 0;
  // Tells the peer that no more comes (TLS: close_notify), after the rest of what was written, and
  // ends the socket's sending direction. To be called until it is good.
  virtual State say_goodbye() = 0;
};

// The socket does not block; it stays the caller's and must outlive the channel.
std::unique_ptr<Channel> plain_channel(int socket);

// Certificate and key, shared by the channels of a server. Safe from any thread.
class TlsSettings {
 public:
  // Throws std::runtime_error, one line that says what is wrong and what to do: a text that is no
  // PEM, a key of another certificate, a certificate that no client could use here.
  explicit TlsSettings(const Certificate& certificate);
  ~TlsSettings();
  TlsSettings(const TlsSettings&) = delete;

  // Why clients that check dates refuse the certificate now: "it ended on 2026-01-31". Empty when
  // they do not. It is no error, since the clock may be wrong.
  std::string out_of_date() const;

 private:
  friend class TlsChannel;
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

// TLS 1.2 and 1.3 with forward secrecy, ciphers that authenticate, and no SHA-1.
std::unique_ptr<Channel> tls_channel(int socket, std::shared_ptr<const TlsSettings> settings);

}  // namespace broker::http
