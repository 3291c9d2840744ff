#include "broker/provider_memory.h"

#include <cstdlib>
#include <cstring>
#include <limits>

#include "broker/core.h"
#include "broker/family.h"
#include "broker/marshal.h"

namespace broker {

void* MemoryBlocks::allocate(std::size_t size) {
  void* block = std::calloc(size ? size : 1, 1);
  if (!block) return nullptr;
  const std::lock_guard lock(mutex_);
  blocks_.insert(block);
  return block;
}

void* MemoryBlocks::resize(void* block, std::size_t size) {
  if (!block) return allocate(size);
  const std::lock_guard lock(mutex_);
  const auto found = blocks_.find(block);
  if (found == blocks_.end()) return nullptr;
  void* moved = std::realloc(block, size ? size : 1);
  if (!moved) return nullptr;
  blocks_.erase(found);
  blocks_.insert(moved);
  return moved;
}

void MemoryBlocks::free(void* block) {
  const std::lock_guard lock(mutex_);
  if (blocks_.erase(block) != 0) std::free(block);
}

void MemoryBlocks::free_all() {
  const std::lock_guard lock(mutex_);
  for (void* block : blocks_) std::free(block);
  blocks_.clear();
}

MemoryBlocks& memory_blocks() {
  static auto& blocks = *new MemoryBlocks;
  return blocks;
}

namespace {

// Of the broker only this is looked at, since the blocks belong to the process.
bool known(const CMPIBroker* broker) { return broker && broker->hdl; }

CMPIGcStat* mark(const CMPIBroker* broker, CMPIStatus* rc) {
  return answer(rc, static_cast<CMPIGcStat*>(nullptr), [&] {
    if (!known(broker)) throw Error(Status::InvalidHandle, "the broker is null");
    return static_cast<CMPIGcStat*>(Operation::get().arena().mark());
  });
}

CMPIStatus release_mark(const CMPIBroker* broker, const CMPIGcStat* mark) {
  return answer([&] {
    if (!known(broker) || !Operation::get().arena().release(mark)) {
      throw Error(Status::InvalidHandle, "there is no such mark in this call");
    }
  });
}

void* cmpi_malloc(const CMPIBroker* broker, std::size_t size) {
  return known(broker) ? memory_blocks().allocate(size) : nullptr;
}

void* cmpi_calloc(const CMPIBroker* broker, std::size_t count, std::size_t size) {
  if (!known(broker)) return nullptr;
  if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) return nullptr;
  return memory_blocks().allocate(count * size);
}

void* cmpi_realloc(const CMPIBroker* broker, void* block, std::size_t size) {
  return known(broker) ? memory_blocks().resize(block, size) : nullptr;
}

char* cmpi_strdup(const CMPIBroker* broker, const char* text) {
  if (!known(broker) || !text) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  auto* copy = static_cast<char*>(memory_blocks().allocate(size));
  if (copy) std::memcpy(copy, text, size);
  return copy;
}

template <class Block>
void cmpi_free(const CMPIBroker*, Block* block) {
  memory_blocks().free(block);
}

// Ends an object of the provider before its operation ends. Anything else is left alone.
template <class T>
void free_object(const CMPIBroker*, typename T::Handle* object) {
  release<T>(object);
}

}  // namespace

void fill_memory_table(Tables& tables) {
  tables.memory = {
      .ftVersion = CMPIVersion210,
      .mark = mark,
      .release = release_mark,
      .cmpiMalloc = cmpi_malloc,
      .cmpiCalloc = cmpi_calloc,
      .cmpiRealloc = cmpi_realloc,
      .cmpiStrDup = cmpi_strdup,
      .cmpiFree = cmpi_free<void>,
      .freeInstance = free_object<InstanceObject>,
      .freeObjectPath = free_object<ObjectPathObject>,
      .freeArgs = free_object<ArgsObject>,
      .freeString = free_object<StringObject>,
      .freeArray = free_object<ArrayObject>,
      .freeDateTime = free_object<DateTimeObject>,
      .freeSelectExp = kUnsupported,
      .freeChars = cmpi_free<char>,
  };
}

}  // namespace broker
