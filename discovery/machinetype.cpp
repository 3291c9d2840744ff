#include "discovery/machinetype.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "platform/support/product_name.h"

namespace {

// The fields of a type 1 structure that are used, at their offsets.
constexpr std::size_t kLengthOffset = 1;
constexpr std::size_t kProductNameOffset = 5;
constexpr std::size_t kHeaderSize = 25;
constexpr std::int32_t kBufferSize = 1024;
constexpr std::uint8_t kSystemInformation = 1;

// Closes also when a product name is out of range, which the caller is told by an exception.
struct Closing {
  SmBiosHandle& handle;
  ~Closing() { smBiosClose(&handle); }
};

// The product name's machine type from the structure, or "0000" when it names no string.
std::string machine_type_of(char* structure, std::int32_t size) {
  std::uint8_t header[kHeaderSize];
  std::memcpy(header, structure, kHeaderSize);
  const std::size_t length = header[kLengthOffset];
  const std::vector<std::string> strings =
      MultiStringTok(structure + length, static_cast<unsigned long>(size) - length, '\0');
  const std::uint32_t index = std::uint32_t{header[kProductNameOffset]} - 1;
  return index < strings.size() ? NKVRHVX20::machine_type_from_product_name(strings[index])
                                : "0000";
}

}  // namespace

std::vector<std::string> MultiStringTok(char* text, unsigned long length, char separator) {
  std::vector<std::string> tokens;
  if (length < 2) return tokens;
  const char* const end = text + length - 2;
  const char* start = text;
  const auto find = [end](const char* from, char wanted) {
    return from < end ? static_cast<const char*>(
                            std::memchr(from, wanted, static_cast<std::size_t>(end - from)))
                      : nullptr;
  };
  for (const char* found = find(start, separator); found; found = find(start, '\0')) {
    tokens.emplace_back(start, found);
    start = found + 1;
  }
  return tokens;
}

NKVRHVX20::TStatus GetMachineType(std::string* machine_type) {
  std::string type = "0000";
  SmBiosHandle handle = nullptr;
  if (smBiosLoad(nullptr, &handle).fCode != 0) return {3};
  {
    const Closing closing{handle};
    if (handle) {
      std::unique_ptr<char[]> buffer(new (std::nothrow) char[kBufferSize]());
      std::int32_t size = kBufferSize;
      if (buffer && smBiosGetFirst(handle, kSystemInformation, buffer.get(), &size).fCode == 0 &&
          size > 0) {
        type = machine_type_of(buffer.get(), size);
      } else {
        // Kept on purpose: the buffer is not released when the structure cannot be read.
        [[maybe_unused]] char* const kept = buffer.release();
      }
    }
  }
  *machine_type = type;
  return {3};
}
