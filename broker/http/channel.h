// The bytes of one connection, plain or through TLS, without ever blocking.
//
// A channel moves what can be moved at once and then says what to wait for. With TLS either
// direction of the socket can be what is waited for, whatever was asked. Nothing that the peer
// sends throws.
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
    good,         // done as far as asked
    wants_read,   // again when the socket can be read
    wants_write,  // again when it can be written
    ended,        // the peer sends no more
    broken        // nothing can be done with it any more but close the socket
  };
  struct Moved {
    std::size_t count;
    State state;
  };

  virtual ~Channel() = default;

  // Before the first read or write, until it is good; plain channels are good at once.
  virtual State shake_hands() = 0;
  // good has moved at least one byte; the other states none. No poll tells of bytes that TLS has
  // taken off the socket already: before one waits, it is read until it is no longer good. A TLS
  // peer that ends without a word has ended too: whether a request was whole is told by its own
  // length.
  virtual Moved read(char* to, std::size_t most) = 0;
  // good has moved all of it. Otherwise the rest has to come again, at the begin of a text that may
  // be longer, since TLS may have put it into a record already. The peer's gone: broken.
  virtual Moved write(std::string_view text) = 0;
  // Says that no more comes from here (TLS: close_notify) and ends the socket's sending direction.
  // Until it is good, the rest of what was written goes first.
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

  // Why clients that look will refuse the certificate as of now: "it ended on 2026-01-31". Empty
  // when they need not. That is no error: the clock may be what is wrong.
  std::string out_of_date() const;

 private:
  friend class TlsChannel;
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

// TLS 1.2 and 1.3 with forward secrecy, ciphers that authenticate, and no SHA-1.
std::unique_ptr<Channel> tls_channel(int socket, std::shared_ptr<const TlsSettings> settings);

}  // namespace broker::http
