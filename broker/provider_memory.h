// Memory that providers ask the object manager for, and the code pages of their text.
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_set>

#include "platform/cmpi/cmpi.h"

namespace broker {

// The blocks that were handed out and have not come back. They are freed when the last object
// manager of the process ends its providers.
class MemoryBlocks {
 public:
  void* allocate(std::size_t size);  // null when there is no memory, zero-filled otherwise
  void* resize(void* block, std::size_t size);
  void free(void* block);
  void free_all();

 private:
  std::mutex mutex_;
  std::unordered_set<void*> blocks_;
};

// There is one set in the process, since the functions that free a block do not say for which
// object manager.
MemoryBlocks& memory_blocks();

// UTF-8 from and to a code page. Throws Error (NotInCodepage) for text that the page does not
// have, (InvalidParameter) for an unknown page or text that is not of the page. UTF-16 is in the
// machine's byte order and ends with a zero unit.
std::string from_codepage(const char* text, CMPICodepageID codepage);
std::string to_codepage(const std::string& text, CMPICodepageID codepage);

}  // namespace broker
