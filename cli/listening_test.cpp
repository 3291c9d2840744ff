#include "cli/listening.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>

namespace cli {
namespace {

namespace fs = std::filesystem;

const broker::http::Address kWanted("127.0.0.1", 5988);  // 1764 in hexadecimal digits

// A folder in the place of /proc, with a row of the table of sockets as the kernel writes it.
class Listening : public testing::Test {
 protected:
  Listening() {
    std::string name = fs::temp_directory_path() / "hddtest_cli.XXXXXX";
    proc_ = mkdtemp(name.data());
    fs::create_directories(proc_ / "net");
  }
  ~Listening() override { fs::remove_all(proc_); }

  void socket(const char* table, const char* local, const char* state) {
    std::ofstream(proc_ / "net" / table)
        << "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  "
           "timeout inode\n   0: "
        << local << " 00000000:0000 " << state
        << " 00000000:00000000 00:00000000 00000000     0        0 4711 1 0000 100 0 0 10 0\n";
  }
  void process(const char* number, const char* name, const char* holds) {
    fs::create_directories(proc_ / number / "fd");
    std::ofstream(proc_ / number / "comm") << name << "\n";
    fs::create_symlink("/dev/null", proc_ / number / "fd/0");
    fs::create_symlink(holds, proc_ / number / "fd/3");
  }
  fs::path proc_;
};

TEST_F(Listening, ProcessIsNamed) {
  socket("tcp", "0100007F:1764", "0A");
  process("7", "other", "socket:[47]");
  process("812", "sfcbd", "socket:[4711]");
  EXPECT_EQ(who_listens(kWanted, proc_), "process 812 (sfcbd)");
}

TEST_F(Listening, TableOfIPv6IsLookedAtToo) {
  socket("tcp6", "00000000000000000000000000000000:1764", "0A");
  process("812", "sfcbd", "socket:[4711]");
  EXPECT_EQ(who_listens(kWanted, proc_), "process 812 (sfcbd)");
}

TEST_F(Listening, ProcessOfAnotherUserIsNotSeen) {
  socket("tcp", "0100007F:1764", "0A");
  EXPECT_EQ(who_listens(kWanted, proc_), "another process");
}

TEST_F(Listening, OtherSocketsDoNotCount) {
  EXPECT_EQ(who_listens(kWanted, proc_), "");
  socket("tcp", "0100007F:1764", "01");
  EXPECT_EQ(who_listens(kWanted, proc_), "") << "a connection";
  socket("tcp", "0100007F:1765", "0A");
  EXPECT_EQ(who_listens(kWanted, proc_), "") << "another port";
}

TEST_F(Listening, OnlyWhatIsInTheWayCounts) {
  using broker::http::Address;
  const Address v6("::1", 5988);
  socket("tcp", "0100007F:1764", "0A");
  EXPECT_EQ(who_listens(v6, proc_), "");
  EXPECT_EQ(who_listens(Address("127.0.0.2", 5988), proc_), "");
  EXPECT_EQ(who_listens(Address("0.0.0.0", 5988), proc_), "another process");
  socket("tcp", "00000000:1764", "0A");
  EXPECT_EQ(who_listens(kWanted, proc_), "another process");
  socket("tcp", "broken", "0A");
  socket("tcp6", "00000000000000000000000001000000:1764", "0A");
  EXPECT_EQ(who_listens(v6, proc_), "another process");
  EXPECT_EQ(who_listens(kWanted, proc_), "");
  socket("tcp6", "0000000000000000FFFF00000100007F:1764", "0A");
  EXPECT_EQ(who_listens(kWanted, proc_), "another process");
}

TEST(ListeningFault, SaysWhatToDo) {
  using broker::http::Address;
  const auto fault = [](int number) {
    return listening_fault({number, std::generic_category(), "cannot listen on A"},
                           Address("127.0.0.1", 0));
  };
  EXPECT_EQ(fault(EADDRINUSE),
            "cannot listen on A: Address already in use; end it, or name another "
            "port with --port");
  EXPECT_EQ(fault(EACCES),
            "cannot listen on A: Permission denied; ports below 1024 are root's: name "
            "another port with --port");
  EXPECT_NE(fault(EADDRNOTAVAIL).find("--listen"), std::string::npos);
  EXPECT_EQ(fault(EMFILE), "cannot listen on A: Too many open files");
}

}  // namespace
}  // namespace cli
