// A shared library that holds providers.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace broker {

// One lib<location>.so, loaded while any provider in it is.
class Library {
 public:
  Library(std::string location, const std::vector<std::filesystem::path>& folders)
      : location_(std::move(location)), folders_(folders) {}

  // The function of this name, loading the library if need be. Throws Error (Failed).
  void* find(const std::string& symbol);
  // False when it was not loaded.
  bool unload();

 private:
  void load();

  const std::string location_;
  const std::vector<std::filesystem::path>& folders_;
  std::mutex mutex_;
  void* handle_ = nullptr;
};

}  // namespace broker
