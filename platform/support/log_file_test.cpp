#include "platform/support/log_file.h"

#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>

#include "platform/descriptor.h"
#include "platform/support/log_text.h"
#include "platform/support/support_test.h"

namespace NKVRHVX20 {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
namespace fs = std::filesystem;

// A journal that listens in a folder.
class FakeJournal {
 public:
  explicit FakeJournal(const std::string& path) : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) std::abort();
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    if (bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
      std::abort();
  }
  // The next datagram; empty when there is none.
  std::string receive() const {
    char text[2 * kLogLineLimit];
    const ssize_t size = recv(socket_.get(), text, sizeof text, MSG_DONTWAIT);
    return {text, size > 0 ? static_cast<std::size_t>(size) : 0};
  }

 private:
  platform::Descriptor socket_;
};

class LogDestinationTest : public testing::Test {
 protected:
  void write_line(const std::string& text) { destination_.write(3, text); }
  // To another place, by a destination that has written nothing before.
  void write_elsewhere(const std::string& file, int severity, const std::string& text) const {
    LogDestination(file, journal_path_).write(severity, text);
  }
  std::vector<std::string> lines() const { return lines_of(read_file(log_)); }

  TemporaryFolder folder_;
  const std::string log_ = folder_ / "log";
  const std::string journal_path_ = folder_ / "journal";
  const FakeJournal journal_{journal_path_};
  LogDestination destination_{log_, journal_path_};
};

TEST_F(LogDestinationTest, IsCreatedWithItsModeAndAppendedTo) {
  const mode_t before = umask(0);
  write_line("first");
  umask(before);
  write_line("second");
  EXPECT_THAT(lines(), ElementsAre(EndsWith(" first"), EndsWith(" second")));
  EXPECT_EQ(fs::status(log_).permissions(), fs::perms(0640));
  EXPECT_EQ(journal_.receive(), "");
}

TEST_F(LogDestinationTest, IsRenamedWhenItHasGrownToTheLimit) {
  write_file(log_, "");
  fs::resize_file(log_, kLogFileLimit - 1);
  write_line("last");
  EXPECT_FALSE(fs::exists(log_ + ".1"));
  write_line("first");
  write_line("second");
  EXPECT_THAT(lines(), ElementsAre(EndsWith(" first"), EndsWith(" second")));
  EXPECT_GT(fs::file_size(log_ + ".1"), static_cast<std::uintmax_t>(kLogFileLimit));
}

TEST_F(LogDestinationTest, IsRenamedAtTheLimitExactly) {
  write_file(log_, "");
  fs::resize_file(log_, kLogFileLimit);
  write_file(log_ + ".1", "earlier");
  write_line("first");
  EXPECT_THAT(lines(), ElementsAre(EndsWith(" first")));
  EXPECT_EQ(fs::file_size(log_ + ".1"), static_cast<std::uintmax_t>(kLogFileLimit));
}

TEST_F(LogDestinationTest, IsLeftWhereItIsWhileAnotherHasTheLock) {
  write_file(log_, "");
  fs::resize_file(log_, kLogFileLimit);
  const platform::Descriptor other(open(log_.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_EQ(flock(other.get(), LOCK_SH), 0);
  write_line("line");
  EXPECT_FALSE(fs::exists(log_ + ".1"));
  EXPECT_GT(fs::file_size(log_), static_cast<std::uintmax_t>(kLogFileLimit));
}

TEST_F(LogDestinationTest, TheJournalTakesWhatCannotBeOpened) {
  for (const std::string& file : {folder_.path(), folder_ / "missing/log", std::string()}) {
    write_elsewhere(file, 0, "forged\nPRIORITY=0");
    EXPECT_EQ(journal_.receive(),
              "SYSLOG_IDENTIFIER=hddtest\nPRIORITY=3\nMESSAGE=forged\\nPRIORITY=0\n");
  }
}

TEST_F(LogDestinationTest, SeveritiesBecomeTheJournalsPriorities) {
  const struct {
    int severity;
    const char* priority;
  } cases[] = {{-1, "=3\n"}, {0, "=3\n"}, {1, "=4\n"}, {2, "=5\n"},
               {3, "=6\n"},  {4, "=7\n"}, {9, "=7\n"}};
  for (const auto& [severity, priority] : cases) {
    write_elsewhere(folder_.path(), severity, "");
    EXPECT_THAT(journal_.receive(), testing::HasSubstr(std::string("PRIORITY") + priority));
  }
}

TEST_F(LogDestinationTest, APipeThatNobodyReadsDoesNotHoldTheCaller) {
  ASSERT_EQ(mkfifo(log_.c_str(), 0600), 0);
  write_line("text");
  EXPECT_THAT(journal_.receive(), EndsWith("MESSAGE=text\n"));
}

TEST_F(LogDestinationTest, WithoutFileAndJournalTheLineIsDropped) {
  LogDestination(folder_.path(), folder_ / "no-journal").write(0, "text");
  LogDestination(folder_.path(), std::string(200, 'x')).write(0, "text");
  EXPECT_EQ(journal_.receive(), "");
}

TEST_F(LogDestinationTest, FileAndJournalGetTheBeginningOfALongText) {
  std::string text;
  text.resize(10'000'000, 'x');
  write_line(text);
  write_elsewhere(folder_.path(), 0, text);
  EXPECT_EQ(fs::file_size(log_), kLogLineLimit);
  EXPECT_THAT(lines(), ElementsAre(EndsWith("xxx... (10000000 bytes)")));
  EXPECT_THAT(journal_.receive(), EndsWith("xxx... (10000000 bytes)\n"));
}

TEST_F(LogDestinationTest, AFullJournalDoesNotHoldTheCaller) {
  for (int i = 0; i < 10'000; ++i) write_elsewhere(folder_.path(), 0, "text");
  EXPECT_THAT(journal_.receive(), EndsWith("MESSAGE=text\n"));
}

TEST_F(LogDestinationTest, StandardErrorMayBeClosed) {
  in_child([&] {
    close(STDERR_FILENO);
    write_elsewhere("-", 1, "text");
    return std::string();
  });
  EXPECT_THAT(journal_.receive(), EndsWith("PRIORITY=4\nMESSAGE=text\n"));
}

TEST_F(LogDestinationTest, ABrokenPipeDoesNotKillTheHost) {
  const std::string result = in_child([] {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0) return std::string("pipe");
    close(ends[0]);
    ::signal(SIGPIPE, SIG_DFL);
    LogDestination("-").write(1, "text");
    return std::string("alive");
  });
  EXPECT_EQ(result, "alive");
}

TEST_F(LogDestinationTest, AFileSizeLimitDoesNotKillTheHost) {
  write_file(log_, "12345");
  const std::string result = in_child([&] {
    const rlimit limit{5, 5};
    setrlimit(RLIMIT_FSIZE, &limit);
    ::signal(SIGXFSZ, SIG_DFL);
    write_line("text");
    return std::string("alive");
  });
  EXPECT_EQ(result, "alive");
  EXPECT_EQ(read_file(log_), "12345");
}

TEST_F(LogDestinationTest, KeepsNoDescriptorOfWhatIsNoFile) {
  const std::size_t before = open_descriptors();
  write_elsewhere(folder_.path(), 0, "text");
  LogDestination pipe(folder_ / "pipe", journal_path_);
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  platform::Descriptor reader(open((folder_ / "pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  pipe.write(0, "text");
  char text[100];
  EXPECT_GT(read(reader.get(), text, sizeof text), 0);
  EXPECT_EQ(read(reader.get(), text, sizeof text), 0) << "its reader sees the end";
  reader.close();
  EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
}  // namespace NKVRHVX20
