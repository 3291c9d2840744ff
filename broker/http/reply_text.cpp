#include "broker/http/reply_text.h"

#include <algorithm>
#include <ctime>
#include <iterator>

namespace broker::http {
namespace {

struct Meaning {
  int status;
  std::string_view phrase;
  std::string_view explanation;
};

constexpr std::string_view kWrongMethod = "the method must be POST or M-POST\n";

constexpr Meaning kMeanings[] = {
    {200, "OK", ""},
    {400, "Bad Request",
     "the header is malformed, or does not say for whom the request is, or where it ends\n"},
    {401, "Unauthorized", "a user and a password are needed, or these are wrong\n"},
    {403, "Forbidden", "requests of web pages are not answered\n"},
    {404, "Not Found", "the object manager is at /cimom\n"},
    {405, "Method Not Allowed", kWrongMethod},
    {406, "Not Acceptable", "replies are XML in UTF-8\n"},
    {413, "Content Too Large", "the request is too long\n"},
    {415, "Unsupported Media Type", "the body must not be encoded\n"},
    {421, "Misdirected Request",
     "the Host is none of this server's names; its administrator can add it with --host\n"},
    {431, "Request Header Fields Too Large", "the request's header is too long\n"},
    {500, "Internal Server Error", ""},
    {501, "Not Implemented",
     "the method must be POST or M-POST, and the only transfer encoding is chunked\n"},
    {503, "Service Unavailable",
     "the server is ending or busy, or too many log-ins from here have failed\n"},
    {505, "HTTP Version Not Supported", "the version must be HTTP/1.0 or HTTP/1.1\n"},
    {510, "Not Extended", "an M-POST must declare http://www.dmtf.org/cim/mapping/http/v1.0\n"}};

const Meaning& meaning(int status) {
  static constexpr Meaning kUnknown{0, "Refused", ""};
  const auto* const found = std::find_if(std::begin(kMeanings), std::end(kMeanings),
                                         [&](const Meaning& one) { return one.status == status; });
  return found == std::end(kMeanings) ? kUnknown : *found;
}

std::string date() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  gmtime_r(&now, &parts);
  static constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                            "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  // The names are English whatever the locale.
  char text[40];
  std::strftime(text, sizeof text, "%d xxx %Y %H:%M:%S GMT", &parts);
  std::copy_n(kMonths[parts.tm_mon], 3, text + 3);
  return std::string(kDays[parts.tm_wday]) + ", " + text;
}

void add(std::string& text, std::string_view name, std::string_view value) {
  text += name;
  text += ": ";
  std::transform(value.begin(), value.end(), std::back_inserter(text), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f ? ' ' : character;
  });
  text += "\r\n";
}

}  // namespace

std::string reply_head(int status, const Headers& headers, const Sending& sending) {
  std::string text = "HTTP/1.1 " + std::to_string(status) + " ";
  text += meaning(status).phrase;
  text += "\r\n";
  add(text, "Date", date());
  for (const auto& [name, value] : headers)
    if (name != "Connection") add(text, name, value);
  if (sending.length) add(text, "Content-Length", std::to_string(*sending.length));
  if (sending.chunked) add(text, "Transfer-Encoding", "chunked");
  if (sending.close) {
    add(text, "Connection", "close");
  } else if (sending.old) {
    add(text, "Connection", "keep-alive");
  }
  return text + "\r\n";
}

std::string_view explanation(int status) { return meaning(status).explanation; }

}  // namespace broker::http
