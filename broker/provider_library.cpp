#include "broker/provider_library.h"

#include <dlfcn.h>

#include <system_error>

#include "broker/error.h"

namespace broker {

void Library::load() {
  const std::string file = "lib" + location_ + ".so";
  std::string searched;
  for (const std::filesystem::path& folder : folders_) {
    const std::filesystem::path path = folder / file;
    std::error_code ignored;
    if (std::filesystem::exists(path, ignored)) {
      handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
      if (handle_) return;
      const char* reason = dlerror();
      throw Error(Status::Failed,
                  "the provider library cannot be loaded: " + std::string(reason ? reason : file));
    }
    searched += (searched.empty() ? "" : ", ") + folder.string();
  }
  throw Error(Status::Failed, "the provider library " + file + " is not in " +
                                  (searched.empty() ? "any folder" : searched));
}

void* Library::find(const std::string& symbol) {
  const std::lock_guard lock(mutex_);
  if (!handle_) load();
  if (void* found = dlsym(handle_, symbol.c_str())) return found;
  throw Error(Status::Failed,
              "the provider library lib" + location_ + ".so has no function " + symbol);
}

bool Library::unload() {
  const std::lock_guard lock(mutex_);
  if (!handle_) return false;
  dlclose(handle_);
  handle_ = nullptr;
  return true;
}

}  // namespace broker
