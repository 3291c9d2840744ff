#include "broker/core.h"

#include <cxxabi.h>

#include <algorithm>
#include <atomic>
#include <utility>

#include "broker/provider_memory.h"

namespace broker {
namespace {

std::atomic<int> cores{0};

// A class may be registered only for name spaces that other object managers serve.
bool serves(const RegistrationEntry& entry) {
  return std::any_of(entry.name_spaces.begin(), entry.name_spaces.end(),
                     [](const std::string& name) { return same_name(name, kServedNameSpace); });
}

}  // namespace

Core::Core(const Schema& schema, Options options) : schema_(schema), options_(std::move(options)) {
  tables_.broker.hdl = this;
  if (options_.adjust_tables) options_.adjust_tables(tables_);
  registered_.reserve(options_.registration.size());  // the maps point into it
  for (const RegistrationEntry& entry : options_.registration) {
    if (!serves(entry)) continue;
    const ClassInfo& info = schema_.get(entry.class_name);
    auto& library = libraries_[entry.location];
    if (!library) library = std::make_unique<Library>(entry.location, options_.library_folders);
    auto& provider = providers_[entry.provider];
    if (!provider) {
      provider = std::make_unique<Provider>(*this, entry.provider, *library);
      provider_order_.push_back(provider.get());
    } else if (&provider->library() != library.get()) {
      throw Error(Status::Failed, "provider " + entry.provider + " is registered in two libraries");
    }
    if (entry.unload_never) never_unload_.insert(library.get());
    registered_.push_back({&info, provider.get(), entry.instance, entry.association, entry.method});
    const Registered* const added = &registered_.back();
    if ((added->instance && !instances_.emplace(&info, added).second) ||
        (added->method && !methods_.emplace(&info, added).second)) {
      throw Error(Status::Failed,
                  "class " + entry.class_name + " is registered twice for the same type");
    }
  }
  for (const OneAtATime& settings : options_.one_at_a_time)
    turns_.emplace_back(settings, [this](const std::string& text) { log(2, text); });
  ++cores;
}

Core::~Core() { --cores; }

void Core::log(int severity, const std::string& text) const {
  if (options_.log) options_.log(severity, text);
}

void Core::thread_attached(int change) {
  const std::lock_guard lock(mutex_);
  attached_ += static_cast<std::size_t>(change);
}

void Core::check_name_space(const ObjectPath& path) const {
  if (!path.name_space.empty() && !(path.name_space == kServedNameSpace)) {
    throw Error(Status::InvalidNamespace, "there is no name space " + path.name_space.str());
  }
}

const ClassInfo& Core::class_of(const ObjectPath& path) const {
  check_name_space(path);
  return schema_.get(path.class_name);
}

const ClassInfo& Core::source_class(const ObjectPath& path) const {
  check_name_space(path);
  if (const ClassInfo* info = schema_.find(path.class_name)) return *info;
  throw Error(Status::InvalidParameter, "there is no class " + path.class_name.str());
}

const Registered* Core::find_instances(const ClassInfo& info) const {
  const auto found = instances_.find(&info);
  return found == instances_.end() ? nullptr : found->second;
}

const Registered* Core::find_methods(const ClassInfo& info) const {
  const auto found = methods_.find(&info);
  return found == methods_.end() ? nullptr : found->second;
}

void Core::end_if_due(Provider& provider) {
  const bool stays = never_unload_.contains(&provider.library());
  try {
    provider.end_if_due(options_.idle_time, options_.longest_life,
                        stays ? Ending::Told : Ending::Asked);
  } catch (const abi::__forced_unwind&) {
    throw;  // the provider ends the thread, which nobody may stop
  } catch (const std::exception& error) {
    log(0, "provider " + provider.name() + " failed to end: " + error.what());
  } catch (...) {
    log(0, "provider " + provider.name() + " failed to end: unknown exception");
  }
}

std::size_t Core::end_idle() {
  for (Provider* provider : provider_order_) end_if_due(*provider);
  std::size_t unloaded = 0;
  for (auto& [location, library] : libraries_) {
    if (never_unload_.contains(library.get())) continue;
    // All locks are held together, so that no request starts a provider of the library meanwhile.
    // They are only tried: a provider that starts may hold its own lock and call another provider,
    // and each would wait for the other.
    std::vector<std::unique_lock<std::mutex>> locks;
    bool empty = true;
    for (Provider* provider : provider_order_) {
      if (&provider->library() != library.get()) continue;
      auto lock = provider->lock_if_empty();
      empty &= lock.owns_lock();
      locks.push_back(std::move(lock));
    }
    if (empty && library->unload()) ++unloaded;
  }
  return unloaded;
}

void Core::end_turns() {
  for (Turns& turns : turns_) turns.close();
}

void Core::end() {
  end_turns();
  {
    std::unique_lock lock(mutex_);
    closing_ = true;
    landed_.wait(lock, [this] { return in_flight_ == 0; });
  }
  std::unordered_set<const Library*> staying;
  for (Provider* provider : provider_order_) {
    if (!provider->end()) staying.insert(&provider->library());
  }
  bool threads = false;
  {
    const std::lock_guard lock(mutex_);
    threads = attached_ != 0;
  }
  const bool all_ended = staying.empty() && !threads;
  // A thread that a provider left behind may still run code of any library. Libraries with "unload:
  // never" stay as well, since they keep state for the life of the process.
  staying.insert(never_unload_.begin(), never_unload_.end());
  for (auto& [location, library] : libraries_) {
    if (!threads && !staying.contains(library.get())) library->unload();
  }
  if (cores == 1 && all_ended) memory_blocks().free_all();
}

}  // namespace broker
