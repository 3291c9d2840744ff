#include "cli/waiting_line.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>
#include <unistd.h>

#include "platform/descriptor.h"

namespace cli {
namespace {

TEST(WaitingLine, IsShownOnATerminalAndTakenAway) {
  int ends[2] = {-1, -1};
  winsize size{24, 40, 0, 0};
  ASSERT_EQ(openpty(&ends[0], &ends[1], nullptr, nullptr, &size), 0);
  const platform::Descriptor master(ends[0]);
  platform::Descriptor slave(ends[1]);
  setenv("TERM", "xterm", 1);
  Output output(slave.get());
  std::string written;
  {
    WaitingLine line(output, "looking", true, std::chrono::milliseconds(1));
    line.say("3 of 24");
    char bytes[200];
    while (written.find("looking: 3 of 24 (0:0") == written.npos) {
      const ssize_t count = read(master.get(), bytes, sizeof bytes);
      ASSERT_GT(count, 0);
      written.append(bytes, static_cast<std::size_t>(count));
    }
  }
  slave.close();
  for (;;) {
    char bytes[4096];
    const ssize_t count = read(master.get(), bytes, sizeof bytes);
    if (count <= 0) break;
    written.append(bytes, static_cast<std::size_t>(count));
  }
  EXPECT_TRUE(written.ends_with("\r\x1b[K")) << written;
}

TEST(WaitingLine, IsNotShownElsewhere) {
  platform::Pipe pipe = platform::open_pipe();
  ASSERT_TRUE(pipe.read_end);
  Output output(pipe.write_end.get());
  {
    WaitingLine line(output, "looking", true, std::chrono::milliseconds(1));
    line.say("3 of 24");
    usleep(20'000);
  }
  pipe.write_end.close();
  char byte;
  EXPECT_EQ(read(pipe.read_end.get(), &byte, 1), 0);
}

}  // namespace
}  // namespace cli
