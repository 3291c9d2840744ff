// Hears every line of the core log while it lives.
#pragma once

#include <functional>
#include <string>

namespace cli {

class LogListener {
 public:
  // Called on the thread that logs, several at once where several log; must neither log nor throw.
  // There must be one listener at a time.
  using Take = std::function<void(int severity, const std::string& text)>;

  explicit LogListener(Take take);
  ~LogListener();
  LogListener(const LogListener&) = delete;

 private:
  const Take take_;
};

}  // namespace cli
