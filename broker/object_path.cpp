#include "broker/object_path.h"

#include <algorithm>
#include <utility>

#include "broker/error.h"

namespace broker {
namespace {

bool name_character(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

// Far more than any class has. The limit bounds the time, since each key is compared with those
// before it.
constexpr std::size_t kMostKeys = 100;

// Reads one path, complaining with the place.
class PathReader {
 public:
  explicit PathReader(std::string_view text) : text_(text) {}

  ObjectPath read() {
    ObjectPath path;
    if (text_.starts_with("//")) {
      const std::size_t end = text_.find('/', 2);
      if (end == std::string_view::npos || end == 2) fail("a host name and a slash must follow //");
      path.host = text_.substr(2, end - 2);
      position_ = end + 1;
    } else if (text_.starts_with("/")) {
      position_ = 1;
    }
    const std::size_t stop = text_.find_first_of(".\"=:", position_);
    if (stop != std::string_view::npos && text_[stop] == ':') {
      path.name_space = read_name_space(stop);
    } else if (!path.host.empty()) {
      fail("a name space and a colon must follow the host name");
    }
    path.class_name = read_name("a class name");
    if (position_ == text_.size()) return path;
    expect('.', "a dot must separate class and keys");
    do {
      Name name = read_name("the name of a key");
      if (path.keys.size() == kMostKeys) fail("there are too many keys");
      if (path.key(name)) fail("key " + name.str() + " is given twice");
      expect('=', "an equals sign must follow the name of a key");
      path.keys.push_back({std::move(name), read_value()});
    } while (take(','));
    if (position_ < text_.size()) fail("a comma must separate keys");
    return path;
  }

 private:
  [[noreturn]] void fail(const std::string& reason) const {
    throw Error(Status::InvalidParameter,
                "\"" + std::string(text_) + "\" is no object path: " + reason + " (at character " +
                    std::to_string(position_ + 1) + ")");
  }

  bool take(char c) {
    if (position_ >= text_.size() || text_[position_] != c) return false;
    ++position_;
    return true;
  }

  void expect(char c, const std::string& reason) {
    if (!take(c)) fail(reason);
  }

  std::string_view read_name_space(std::size_t end) {
    const std::string_view name = text_.substr(position_, end - position_);
    for (std::size_t i = 0; i < name.size(); ++i) {
      const bool inner_slash = name[i] == '/' && i > 0 && i + 1 < name.size() && name[i - 1] != '/';
      if (!name_character(name[i]) && !inner_slash) {
        position_ += i;
        fail("this is no name space");
      }
    }
    if (name.empty()) fail("a name space must stand before the colon");
    position_ = end + 1;
    return name;
  }

  Name read_name(const std::string& what) {
    const std::size_t begin = position_;
    while (position_ < text_.size() && name_character(text_[position_])) ++position_;
    if (position_ == begin || (text_[begin] >= '0' && text_[begin] <= '9')) {
      position_ = begin;
      fail(what + " is missing");
    }
    return Name(text_.substr(begin, position_ - begin));
  }

  Value read_value() {
    if (take('"')) return read_quoted();
    const std::size_t end = std::min(text_.find(',', position_), text_.size());
    const std::string_view word = text_.substr(position_, end - position_);
    Value value;
    if (same_name(word, "true") || same_name(word, "false")) {
      value = parse_value(Type::Boolean, false, word);
    } else {
      try {
        value = parse_value(word.starts_with('-') ? Type::Sint64 : Type::Uint64, false, word);
      } catch (const Error&) {
        fail("a value must be \"text\", an integer, TRUE or FALSE");
      }
    }
    position_ = end;
    return value;
  }

  Value read_quoted() {
    std::string value;
    while (position_ < text_.size() && text_[position_] != '"') {
      if (text_[position_] == '\\') {
        ++position_;
        if (position_ == text_.size() || (text_[position_] != '"' && text_[position_] != '\\')) {
          fail("only a quote or a backslash may follow a backslash");
        }
      }
      value += text_[position_++];
    }
    expect('"', "the closing quote is missing");
    return Value(std::move(value));
  }

  std::string_view text_;
  std::size_t position_ = 0;
};

}  // namespace

ObjectPath::ObjectPath(Name name_space, Name class_name, std::vector<Key> keys)
    : name_space(std::move(name_space)), class_name(std::move(class_name)), keys(std::move(keys)) {}

const Value* ObjectPath::key(std::string_view name) const {
  for (const Key& key : keys) {
    if (key.name == name) return &key.value;
  }
  return nullptr;
}

void ObjectPath::set_key(Name name, Value value) {
  for (Key& key : keys) {
    if (key.name == name) {
      key.value = std::move(value);
      return;
    }
  }
  keys.push_back({std::move(name), std::move(value)});
}

ObjectPath ObjectPath::parse(std::string_view text) { return PathReader(text).read(); }

std::string ObjectPath::to_text() const {
  std::string text;
  if (!host.empty()) text += "//" + host.str() + "/";
  if (!name_space.empty()) text += name_space.str() + ":";
  text += class_name.view();
  char separator = '.';
  for (const Key& key : keys) {
    text += separator;
    text += key.name.view();
    text += '=';
    text += to_mof(key.value);
    separator = ',';
  }
  return text;
}

bool operator==(const ObjectPath& a, const ObjectPath& b) {
  if (!(a.class_name == b.class_name) || a.keys.size() != b.keys.size()) return false;
  if (!a.name_space.empty() && !b.name_space.empty() && !(a.name_space == b.name_space)) {
    return false;
  }
  return std::all_of(a.keys.begin(), a.keys.end(), [&b](const Key& key) {
    const Value* other = b.key(key.name);
    return other && same_key_value(key.value, *other);
  });
}

}  // namespace broker
