// The bytes of a connection, cut into pieces as a network may cut them: what is read must not
// depend on the cuts. The first line of the input holds the lengths of the pieces, a byte each; the
// rest is what the client sends.
#include "fuzz/target.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "broker/http/request_reader.h"

namespace {

using broker::http::RequestReader;
using fuzz::require;
using Stage = RequestReader::Stage;

constexpr std::size_t kMostHead = 1000;

bool has_control(std::string_view text) {
  return std::any_of(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) < 0x20 && byte != '\t') || byte == 0x7f;
  });
}

void look_at(const RequestReader& reader) {
  const auto& head = reader.head();
  std::size_t size = 0;
  for (const std::string& word : {head.method, head.target, head.version}) {
    require(!word.empty() && !has_control(word) && word.find(' ') == word.npos, "a word is one");
    size += word.size() + 1;
  }
  for (const auto& [name, value] : head.fields) {
    require(!name.empty() && name.find_first_of(" \t:") == name.npos, "a name is a word");
    require(!has_control(name) && !has_control(value), "no control characters come through");
    require(value.empty() || (value.front() != ' ' && value.back() != ' '), "values are trimmed");
    size += name.size() + value.size() + 3;
  }
  require(size + 3 <= kMostHead, "a head is as long as it may be");
}

// What was read, one reader after the other: a text for each request, the last of which may be
// unfinished or faulty.
using Outcome = std::vector<std::string>;

std::string told(const RequestReader& reader, const std::string& body) {
  const std::string stage = std::to_string(static_cast<int>(reader.stage()));
  if (reader.stage() == Stage::Faulty) return stage + std::to_string(reader.fault().status);
  if (reader.stage() == Stage::Head) return stage + std::to_string(reader.begun());
  const auto& head = reader.head();
  std::string text = stage + head.method + " " + head.target + " " + head.version + "\r\n";
  for (const auto& [name, value] : head.fields)
    text.append(name).append(":").append(value).append("\r\n");
  return text + "\r\n" + std::to_string(reader.length().value_or(body.size())) + "\r\n" + body;
}

Outcome read(const std::vector<std::string_view>& pieces) {
  Outcome outcome;
  std::string body;
  auto reader = std::make_unique<RequestReader>(kMostHead);
  for (std::string_view piece : pieces) {
    while (!piece.empty() && reader->stage() != Stage::Faulty) {
      const Stage before = reader->stage();
      const std::size_t taken = reader->take(piece);
      require(taken == piece.size() || reader->stage() != before, "it takes what it can");
      piece.remove_prefix(taken);
      body += reader->take_body();
      if (before == Stage::Head && reader->stage() == Stage::Body) look_at(*reader);
      if (reader->stage() != Stage::Complete) continue;
      look_at(*reader);
      require(reader->length().value_or(body.size()) == body.size(), "a body is as announced");
      outcome.push_back(told(*reader, body));
      body.clear();
      reader = std::make_unique<RequestReader>(kMostHead);
    }
  }
  outcome.push_back(told(*reader, body));
  return outcome;
}

}  // namespace

void fuzz::read_input(std::string_view input) {
  const std::string_view lengths = take_line(input);
  std::vector<std::string_view> pieces, bytes;
  std::string_view rest = input;
  for (const char length : lengths) {
    const std::size_t size = std::min<std::size_t>(static_cast<unsigned char>(length), rest.size());
    pieces.push_back(rest.substr(0, size));
    rest.remove_prefix(size);
  }
  pieces.push_back(rest);
  for (std::size_t at = 0; at < input.size(); ++at) bytes.push_back(input.substr(at, 1));

  const Outcome whole = read({input});
  require(read(pieces) == whole, "what is read is the same however it comes");
  require(read(bytes) == whole, "what is read is the same byte by byte");
}
