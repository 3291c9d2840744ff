#include "platform/support/osspecific.h"

#include <sys/stat.h>

#include <stdexcept>

#include "platform/support/product_name.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

TEST(MachineType, IsCutOutOfTheProductName) {
  const struct {
    const char* name;
    const char* type;
  } cases[] = {
      {"System Model -[AAAAB2C]-", "AAAA"},
      {"AB-[1234XYZ]-", "1234"},
      {"-[12", "12"},
      {"AB-[", ""},
      {"1234XYZ", "1234"},
      {"123-XYZ", "YZ"},
      {"ABCDEFGH", ""},
      {"ABCDEF", ""},
      {"", ""},
  };
  for (const auto& [name, type] : cases)
    EXPECT_EQ(machine_type_from_product_name(name), type) << name;
}

TEST(MachineType, AHyphenAtTheEndOfTheNameIsOutOfRange) {
  EXPECT_THROW(machine_type_from_product_name("ABC-"), std::out_of_range);
}

// A tree with the kernel's DMI files instead of the machine's own.
class DmiTest : public testing::Test {
 protected:
  DmiTest() {
    std::filesystem::create_directories(folder_ / "sys/class/dmi/id");
    setenv("HVX_SYSFS_ROOT", folder_.path().c_str(), 1);
  }
  ~DmiTest() override { unsetenv("HVX_SYSFS_ROOT"); }
  void publish(const std::string& name, const std::string& text) {
    write_file(folder_ / "sys/class/dmi/id/" + name, text);
  }

  TemporaryFolder folder_;
};

TEST_F(DmiTest, MachineTypeComesFromTheProductName) {
  publish("product_name", "Example Server 1 -[EX01XXXXXX]-\n");
  EXPECT_EQ(TOSSpecific::GetMachineTypeFromID(), "EX01");
  publish("product_name", "1234XYZ\n");
  EXPECT_EQ(TOSSpecific::GetMachineTypeFromID(), "1234");
}

TEST_F(DmiTest, NoMachineTypeIsTheEmptyText) {
  EXPECT_EQ(TOSSpecific::GetMachineTypeFromID(), "");
  for (const char* name : {"", "\n", "Standard PC (Q35 + ICH9, 2009)\n", "ABCDEF\n", "ABC-\n"}) {
    publish("product_name", name);
    EXPECT_EQ(TOSSpecific::GetMachineTypeFromID(), "") << name;
  }
}

TEST_F(DmiTest, BlanksBelongToTheProductName) {
  publish("product_name", "1234XYZ \n");
  EXPECT_EQ(TOSSpecific::GetMachineTypeFromID(), "");
}

TEST_F(DmiTest, BiosIdentifierIsWholeAndTrimmed) {
  EXPECT_EQ(TOSSpecific::GetBiosID(), "");
  publish("bios_version", "  -[IVE123 A-1.0]- \n");
  EXPECT_EQ(TOSSpecific::GetBiosID(), "-[IVE123 A-1.0]-");
  publish("bios_version", " \n");
  EXPECT_EQ(TOSSpecific::GetBiosID(), "");
}

TEST_F(DmiTest, WhatIsNoFileIsNoText) {
  std::filesystem::create_directory(folder_ / "sys/class/dmi/id/bios_version");
  EXPECT_EQ(TOSSpecific::GetBiosID(), "");
}

TEST(FileSize, IsThatOfARegularFile) {
  TemporaryFolder folder;
  write_file(folder / "file", std::string(12345, 'x'));
  EXPECT_EQ(TOSSpecific::GetFileSize(folder / "file"), 12345u);
  std::filesystem::create_symlink("file", folder / "link");
  EXPECT_EQ(TOSSpecific::GetFileSize(folder / "link"), 12345u);
  std::filesystem::resize_file(folder / "file", 5'000'000'000);  // sparse
  EXPECT_EQ(TOSSpecific::GetFileSize(folder / "file"), 5'000'000'000u);
}

TEST(FileSize, IsZeroForWhatIsNoReadableRegularFile) {
  TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const std::string& path : {folder.path(), folder / "missing", folder / "pipe",
                                  std::string("/dev/null"), std::string()})
    EXPECT_EQ(TOSSpecific::GetFileSize(path), 0u) << path;

  std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
  write_file(folder / "secret", "text", 0600);
  const std::string size = in_child([&] {
    // Nobody may read it: neither root, who is someone else then, nor its owner.
    chmod((folder / "secret").c_str(), 0);
    if (geteuid() == 0 && seteuid(65534) != 0) return std::string("seteuid");
    return std::to_string(TOSSpecific::GetFileSize(folder / "secret"));
  });
  EXPECT_EQ(size, "0");
}

TEST(CurrentDirectory, IsThatOfTheProcess) {
  TemporaryFolder folder;
  const auto before = std::filesystem::current_path();
  EXPECT_EQ(TOSSpecific::GetCurrentDir(), before);
  std::filesystem::current_path(folder.path());
  EXPECT_EQ(TOSSpecific::GetCurrentDir(), std::filesystem::canonical(folder.path()));
  std::filesystem::current_path(before);
}

TEST(CurrentDirectory, IsEmptyWhenItHasBeenRemoved) {
  const std::string result = in_child([] {
    std::string path;
    {
      TemporaryFolder folder;
      std::filesystem::current_path(folder.path());
    }
    return "[" + TOSSpecific::GetCurrentDir() + "]";
  });
  EXPECT_EQ(result, "[]");
}

}  // namespace
}  // namespace NKVRHVX20
