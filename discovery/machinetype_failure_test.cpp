// What GetMachineType makes of an SMBIOS library that fails. The program has the library's
// functions and the nothrow new of arrays of its own.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

#include "discovery/machinetype.h"

namespace {

// How the library behaves, and what was asked of it.
struct Library {
  std::int32_t load_code = 0;
  bool has_handle = true;
  std::int32_t read_code = 0;
  std::string structure;
  std::int32_t size = -2;  // -2: that of the structure
  int loaded = 0, read = 0, closed = 0;
  std::int32_t room = 0;
  int type = 0;
};
Library library;
bool has_memory = true;
void* buffers[16];  // in use; nullptr are free places

// Type 1 with 27 formatted bytes, product name number, strings with their NULs.
std::string system_information(int product_name, const std::string& strings) {
  std::string structure(27, '\0');
  structure[0] = 1;
  structure[1] = 27;
  structure[5] = static_cast<char>(product_name);
  return structure + strings;
}

const std::string kModel = std::string("Maker\0001234XYZ\0Last\0\0", 20);

}  // namespace

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  if (!has_memory) return nullptr;
  void* const bytes = std::malloc(size);
  *std::find(std::begin(buffers), std::end(buffers), nullptr) = bytes;
  return bytes;
}
void* operator new[](std::size_t size) {
  if (void* const bytes = std::malloc(size)) return bytes;
  throw std::bad_alloc();
}
void operator delete[](void* bytes) noexcept {
  if (bytes)
    std::replace(std::begin(buffers), std::end(buffers), bytes, static_cast<void*>(nullptr));
  std::free(bytes);
}
void operator delete[](void* bytes, std::size_t) noexcept { operator delete[](bytes); }

NKVRHVX20::TStatus smBiosLoad(void* manager, SmBiosHandle* handle) {
  EXPECT_EQ(manager, nullptr);
  ++library.loaded;
  *handle = library.has_handle ? reinterpret_cast<SmBiosHandle>(&library) : nullptr;
  return {library.load_code};
}
NKVRHVX20::TStatus smBiosGetFirst(SmBiosHandle handle, std::uint8_t type, void* buffer,
                                  std::int32_t* size) {
  EXPECT_EQ(handle, reinterpret_cast<SmBiosHandle>(&library));
  ++library.read;
  library.type = type;
  library.room = *size;
  std::memcpy(buffer, library.structure.data(), library.structure.size());
  *size = library.size == -2 ? static_cast<std::int32_t>(library.structure.size()) : library.size;
  return {library.read_code};
}
NKVRHVX20::TStatus smBiosClose(SmBiosHandle* handle) {
  ++library.closed;
  *handle = nullptr;
  return {0};
}

namespace {

class MachineTypeOf : public testing::Test {
 protected:
  void SetUp() override {
    library = {};
    library.structure = system_information(2, kModel);
    has_memory = true;
    std::fill(std::begin(buffers), std::end(buffers), nullptr);
  }
  static auto buffers_in_use() {
    return std::count_if(std::begin(buffers), std::end(buffers), [](void* one) { return one; });
  }
  static std::string answer() {
    std::string type = "before";
    EXPECT_EQ(GetMachineType(&type).fCode, 3);
    return type;
  }
};

TEST_F(MachineTypeOf, AReadableStructureIsOfTypeOneInABufferOf1024Bytes) {
  EXPECT_EQ(answer(), "1234");
  EXPECT_EQ(library.type, 1);
  EXPECT_EQ(library.room, 1024);
  EXPECT_EQ(library.closed, 1);
  EXPECT_EQ(buffers_in_use(), 0);
}

TEST_F(MachineTypeOf, ALibraryThatDoesNotLoadLeavesTheStringAloneAndIsNotClosed) {
  for (const std::int32_t code : {1, -1, 7}) {
    library.load_code = code;
    EXPECT_EQ(answer(), "before") << code;
  }
  EXPECT_EQ(library.loaded, 3);
  EXPECT_EQ(library.read, 0);
  EXPECT_EQ(library.closed, 0);
}

TEST_F(MachineTypeOf, AnEmptyHandleGivesZerosAndIsClosed) {
  library.has_handle = false;
  EXPECT_EQ(answer(), "0000");
  EXPECT_EQ(library.read, 0);
  EXPECT_EQ(library.closed, 1);
}

TEST_F(MachineTypeOf, NoMemoryForTheBufferGivesZeros) {
  has_memory = false;
  EXPECT_EQ(answer(), "0000");
  EXPECT_EQ(library.read, 0);
  EXPECT_EQ(library.closed, 1);
}

TEST_F(MachineTypeOf, AReadErrorOrNoSizeGivesZerosAndKeepsTheBuffer) {
  int kept = 0;
  for (const auto& [code, size] : {std::pair{4, -2}, {5, 0}, {0, 0}, {0, -1}, {-1, 40}}) {
    library.read_code = code;
    library.size = size;
    EXPECT_EQ(answer(), "0000") << code << " " << size;
    EXPECT_EQ(buffers_in_use(), ++kept);
    EXPECT_EQ(library.closed, kept);
  }
}

TEST_F(MachineTypeOf, ProductNameNumberSelectsAmongTheTokens) {
  const char* const of_number[] = {"0000", "", "1234", "0000", "0000"};
  for (int number = 0; number < 5; ++number) {
    library.structure = system_information(number, kModel);
    EXPECT_EQ(answer(), of_number[number]) << number;
  }
  library.structure = system_information(255, kModel);
  EXPECT_EQ(answer(), "0000");
}

TEST_F(MachineTypeOf, EachFormOfAProductName) {
  for (const auto& [name, type] : {std::pair{"System Model -[AAAAB2C]-", "AAAA"},
                                   {"AB-[1234XYZ]-", "1234"},
                                   {"-[1234XYZ]-", "1234"},
                                   {"1234-XY", "Y"},
                                   {"AB-[12", "12"},
                                   {"AB-[", ""},
                                   {"A-B-[1234", "-[12"},
                                   {"1234XYZ", "1234"},
                                   {"ABCDEFGH", ""},
                                   {"ABCDEF", ""}}) {
    library.structure = system_information(1, name + std::string("\0Last\0\0", 7));
    EXPECT_EQ(answer(), type) << name;
  }
  library.structure = system_information(1, std::string("\0Last\0\0", 7));
  EXPECT_EQ(answer(), "") << "an empty name";
}

TEST_F(MachineTypeOf, ALastHyphenIsThrownAndNothingIsLeftOpen) {
  library.structure = system_information(1, std::string("ABC-\0Last\0\0", 11));
  std::string type = "before";
  EXPECT_THROW(GetMachineType(&type), std::out_of_range);
  EXPECT_EQ(type, "before");
  EXPECT_EQ(library.closed, 1);
  EXPECT_EQ(buffers_in_use(), 0);
}

TEST_F(MachineTypeOf, AnEmptyStringInTheSetKeepsTheNumbering) {
  library.structure = system_information(3, std::string("Maker\0\0001234XYZ\0Last\0\0", 21));
  EXPECT_EQ(answer(), "1234");
}

TEST_F(MachineTypeOf, TheLastStringOfASetIsNeverTheProductName) {
  library.structure = system_information(2, std::string("Maker\0001234XYZ\0\0", 15));
  EXPECT_EQ(answer(), "0000");
}

}  // namespace
