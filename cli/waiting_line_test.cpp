#include "cli/waiting_line.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>
#include <unistd.h>

namespace cli {
namespace {

TEST(WaitingLine, IsShownOnATerminalAndTakenAway) {
  int master = -1;
  int slave = -1;
  winsize size{24, 40, 0, 0};
  ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, &size), 0);
  setenv("TERM", "xterm", 1);
  Output output(slave);
  std::string written;
  {
    WaitingLine line(output, "looking", true, std::chrono::milliseconds(1));
    line.say("3 of 24");
    char bytes[200];
    while (written.find("looking: 3 of 24 (0:0") == written.npos) {
      const ssize_t count = read(master, bytes, sizeof bytes);
      ASSERT_GT(count, 0);
      written.append(bytes, static_cast<std::size_t>(count));
    }
  }
  close(slave);
  for (;;) {
    char bytes[4096];
    const ssize_t count = read(master, bytes, sizeof bytes);
    if (count <= 0) break;
    written.append(bytes, static_cast<std::size_t>(count));
  }
  close(master);
  EXPECT_TRUE(written.ends_with("\r\x1b[K")) << written;
}

TEST(WaitingLine, IsNotShownElsewhere) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Output output(ends[1]);
  {
    WaitingLine line(output, "looking", true, std::chrono::milliseconds(1));
    line.say("3 of 24");
    usleep(20'000);
  }
  close(ends[1]);
  char byte;
  EXPECT_EQ(read(ends[0], &byte, 1), 0);
  close(ends[0]);
}

}  // namespace
}  // namespace cli
