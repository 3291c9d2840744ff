#include "tests/scripted/life.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <map>
#include <stdexcept>

#include "platform/words.h"

namespace scripted {

namespace {

using platform::only_digits;
using platform::take_word;

struct Line {
  std::string where, text;
};
using Lines = std::vector<Line>;
using Variables = std::map<std::string, std::string>;

struct Block {
  std::vector<std::string> parameters;
  Lines lines;
};

[[noreturn]] void fail(const std::string& reason) { throw std::runtime_error(reason); }

// A failure that says once where it is, however deeply the statement was nested.
struct Placed : std::runtime_error {
  using runtime_error::runtime_error;
};

Lines read_lines(const std::filesystem::path& file) {
  std::ifstream stream(file);
  if (!stream) fail(file.string() + ": cannot be read");
  Lines lines;
  int number = 0;
  for (std::string text; std::getline(stream, text);) {
    ++number;
    const std::string_view line = platform::trim_begin(text);
    if (line.empty() || line.front() == '#') continue;
    lines.push_back({file.filename().string() + ":" + std::to_string(number), std::string(line)});
  }
  return lines;
}

int number_of(std::string_view text) {
  const std::string number(text);
  if (number.empty() || !only_digits(number)) fail("\"" + number + "\" is no number");
  return std::stoi(number);
}

class Reader {
 public:
  Reader(Life& life, std::string case_name) : life_(life), case_name_(std::move(case_name)) {}

  void read(const std::filesystem::path& file) {
    const Lines lines = read_lines(file);
    play(lines, variables_);
  }
  std::string variable(const std::string& name) const { return variables_.at(name); }

 private:
  void play(const Lines& lines, Variables& scope) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
      try {
        statement(lines, i, scope);
      } catch (const Placed&) {
        throw;
      } catch (const std::runtime_error& error) {
        throw Placed(lines[std::min(i, lines.size() - 1)].where + ": " + error.what());
      }
    }
  }

  // Performs the statement at the index, and leaves the index at its last line.
  void statement(const Lines& lines, std::size_t& i, Variables& scope) {
    std::string_view rest = lines[i].text;
    const std::string word(take_word(rest));
    if (word.size() == 1 && std::string("><.01234").find(word) != std::string::npos) {
      life_.transcript.push_back(word + " " + expand(rest, scope));
    } else if (word == "$") {
      call(rest, scope);
    } else if (word == "=") {
      answer().output += expand(rest, scope);
    } else if (word == "exit") {
      answer().exit_status = number_of(expand(rest, scope));
    } else if (word == "killed") {
      if (take_word(rest) != "by") fail("\"killed by SIGNAL\" is meant");
      answer().killed_by = number_of(expand(rest, scope));
    } else if (word == "takes") {
      answer().takes_milliseconds = number_of(expand(rest, scope));
    } else if (word == "hangs") {
      answer().hangs = true;
    } else if (word == "sleep") {
      life_.transcript.push_back("sleep " + expand(rest, scope));
    } else if (word == "play") {
      play_sequence(rest, scope);
    } else if (word == "repeat") {
      const int times = number_of(expand(rest, scope));
      const Lines inner = inner_lines(lines, i);
      for (int n = 0; n < times; ++n) play(inner, scope);
    } else if (word == "sequence") {
      define(sequences_, rest, inner_lines(lines, i));
    } else if (word == "text") {
      Lines inner;
      while (i + 1 < lines.size() && is_text(lines[i + 1].text)) inner.push_back(lines[++i]);
      define(texts_, rest, inner);
    } else if (word == "set") {
      const std::string name(take_word(rest));
      scope[name] = single(rest, scope);
    } else if (word == "case") {
      if (take_word(rest) == case_name_) set_case(rest, scope);
    } else if (word == "smartctl" && (rest == "missing" || rest == "unstartable")) {
      life_.smartctl = rest == "missing" ? Smartctl::Missing : Smartctl::Unstartable;
    } else if (word == "messages") {
      life_.has_messages = rest != "none";
      if (life_.has_messages) life_.messages = expand(rest, scope);
    } else {
      fail("\"" + word + "\" is no statement");
    }
  }

  static bool is_text(const std::string& line) {
    return line[0] == '|' || line[0] == '+' || (line[0] == 'x' && std::isdigit(line[1]));
  }

  // The lines between the one at the index and its "end", where the index is left.
  static Lines inner_lines(const Lines& lines, std::size_t& i) {
    Lines inner;
    int depth = 1;
    while (++i < lines.size()) {
      std::string_view rest = lines[i].text;
      const std::string_view word = take_word(rest);
      if (word == "repeat" || word == "sequence") ++depth;
      if (word == "end" && --depth == 0) return inner;
      inner.push_back(lines[i]);
    }
    fail("\"end\" is missing");
  }

  static void define(std::map<std::string, Block>& blocks, std::string_view head, Lines lines) {
    const std::string name(take_word(head));
    if (name.empty()) fail("a name is missing");
    if (!blocks.emplace(name, Block{words_of(head), std::move(lines)}).second)
      fail("\"" + name + "\" stands already");
  }

  void set_case(std::string_view settings, Variables& scope) {
    scope["case"] = case_name_;
    for (const std::string& setting : words_of(settings)) {
      const std::size_t sign = setting.find('=');
      if (sign == std::string::npos) fail("\"" + setting + "\" has no =");
      scope[setting.substr(0, sign)] = expand(setting.substr(sign + 1), scope);
    }
  }

  void call(std::string_view line, const Variables& scope) {
    std::vector<std::string> words = words_of(line);
    if (words.empty() || words[0] != "smartctl") fail("the program has to be smartctl");
    Answer answer;
    std::string shown = "$ smartctl";
    for (std::size_t i = 1; i < words.size(); ++i) {
      answer.arguments.push_back(expand(words[i], scope));
      shown += " " + answer.arguments.back();
    }
    life_.transcript.push_back(shown);
    life_.answers.push_back(answer);
  }

  Answer& answer() {
    if (life_.answers.empty()) fail("there is no call that this could belong to");
    return life_.answers.back();
  }

  void play_sequence(std::string_view line, Variables& scope) {
    std::vector<std::string> words = words_of(line);
    if (words.empty()) fail("a name is missing");
    const auto found = sequences_.find(words[0]);
    if (found == sequences_.end()) fail("there is no sequence \"" + words[0] + "\"");
    Variables inner = with_arguments(found->second, words, scope);
    play(found->second.lines, inner);
  }

  // The scope with a block's parameters set to the arguments, which stand behind its name.
  Variables with_arguments(const Block& block, const std::vector<std::string>& words,
                           const Variables& scope) const {
    if (words.size() != block.parameters.size() + 1)
      fail("\"" + words[0] + "\" wants " + std::to_string(block.parameters.size()) + " arguments");
    Variables inner = scope;
    for (std::size_t i = 1; i < words.size(); ++i)
      inner[block.parameters[i - 1]] = expand(words[i], scope);
    return inner;
  }

  std::string single(std::string_view text, const Variables& scope) const {
    const std::vector<std::string> words = words_of(text);
    if (words.size() != 1) fail("one value is wanted; put it in quotes");
    return expand(words[0], scope);
  }

  // Replaces escapes and ${...} in a piece of text. What is put in is not looked at again.
  std::string expand(std::string_view text, const Variables& scope) const {
    std::string result;
    std::size_t at = 0;
    for (std::size_t begin = text.find("${"); begin != std::string::npos;
         begin = text.find("${", at)) {
      const std::size_t end = end_of_reference(text, begin);
      result += unescape(text.substr(at, begin - at));
      result += value_of(text.substr(begin + 2, end - begin - 2), scope);
      at = end + 1;
    }
    return result + unescape(text.substr(at));
  }

  static std::size_t end_of_reference(std::string_view text, std::size_t at) {
    int depth = 0;
    for (; at < text.size(); ++at) {
      if (text.compare(at, 2, "${") == 0) ++depth;
      if (text[at] == '}' && --depth == 0) return at;
    }
    fail("\"}\" is missing");
  }

  std::string value_of(std::string_view reference, const Variables& scope) const {
    std::vector<std::string> words = words_of(reference);
    if (words.empty()) fail("a name is missing in ${}");
    words[0] = expand(words[0], scope);
    if (const auto found = scope.find(words[0]); found != scope.end()) return found->second;
    const auto found = texts_.find(words[0]);
    if (found == texts_.end()) fail("there is neither a variable nor a text \"" + words[0] + "\"");
    const Variables inner = with_arguments(found->second, words, scope);
    std::string result;
    for (const Line& line : found->second.lines) {
      std::string_view text = line.text;
      int times = 1;
      if (text.starts_with('x')) times = number_of(take_word(text).substr(1));
      const bool whole = text.starts_with('|');
      text.remove_prefix(std::min<std::size_t>(text.size(), 1));
      if (text.starts_with(' ')) text.remove_prefix(1);
      const std::string piece = expand(text, inner) + (whole ? "\n" : "");
      for (int n = 0; n < times; ++n) result += piece;
    }
    return result;
  }

  Life& life_;
  std::string case_name_;
  Variables variables_;
  std::map<std::string, Block> texts_, sequences_;
};

}  // namespace

std::vector<std::string> cases_of(const std::filesystem::path& file) {
  std::vector<std::string> names;
  for (const Line& line : read_lines(file)) {
    std::string_view text = line.text;
    if (take_word(text) == "case") names.emplace_back(take_word(text));
  }
  return names.empty() ? std::vector<std::string>{""} : names;
}

Life read_life(const std::filesystem::path& file, const std::string& case_name) {
  const std::vector<std::string> cases = cases_of(file);
  if (std::find(cases.begin(), cases.end(), case_name) == cases.end())
    fail(file.string() + ": there is no case " + case_name);
  Life life;
  Reader reader(life, case_name);
  for (const auto& shared : std::filesystem::directory_iterator(file.parent_path() / "common"))
    reader.read(shared.path());
  reader.read(file);
  life.device = reader.variable("device");
  return life;
}

std::string unescape(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\') {
      result += text[i];
      continue;
    }
    const char kind = ++i < text.size() ? text[i] : '\0';
    if (kind == 'n') {
      result += '\n';
    } else if (kind == 't') {
      result += '\t';
    } else if (kind == 'r') {
      result += '\r';
    } else if (kind == '\\') {
      result += '\\';
    } else if (kind == 'x' && i + 2 < text.size()) {
      std::size_t used = 0;
      result += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), &used, 16));
      if (used != 2) fail("\"\\x\" wants two hexadecimal digits");
      i += 2;
    } else {
      fail("a backslash stands before a character that it cannot escape");
    }
  }
  return result;
}

std::string escape(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
      result += "\\\\";
    } else if (c == '\n') {
      result += "\\n";
    } else if (byte < 0x20 || byte > 0x7e) {
      char hex[5];
      std::snprintf(hex, sizeof hex, "\\x%02x", byte);
      result += hex;
    } else {
      result += c;
    }
  }
  return result;
}

std::vector<std::string> words_of(std::string_view line) {
  std::vector<std::string> words;
  bool quoted = false, open = false;
  int braces = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"' && braces == 0) {
      quoted = !quoted;
      if (!open) words.emplace_back();
      open = true;
      continue;
    }
    if (c == '$' && i + 1 < line.size() && line[i + 1] == '{') ++braces;
    if (c == '}' && braces > 0) --braces;
    if ((c == ' ' || c == '\t') && !quoted && braces == 0) {
      open = false;
      continue;
    }
    if (!open) words.emplace_back();
    open = true;
    words.back() += c;
  }
  if (quoted) fail("a quote is missing");
  return words;
}

}  // namespace scripted
