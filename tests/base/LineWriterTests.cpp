#include "base/LineWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "base/FileDescriptor.h"
#include "base/LogLines.h"

namespace sonmere {
namespace {

constexpr Duration kPatience = std::chrono::seconds(20);

// A pipe that is full after a page.
struct SmallPipe {
  SmallPipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    read = FileDescriptor(ends[0]);
    write = FileDescriptor(ends[1]);
    fcntl(write.get(), F_SETPIPE_SZ, 4096);
  }
  // Everything up to the line that contains `last`.
  std::string readUntil(const std::string& last) {
    std::string text;
    char block[512];
    while (text.find(last) == std::string::npos || !text.ends_with('\n')) {
      const ssize_t count = ::read(read.get(), block, sizeof block);
      if (count <= 0) break;
      text.append(block, std::size_t(count));
    }
    return text;
  }
  FileDescriptor read, write;
};

TEST(LiveLineWriter, NobodyWaitsForAReaderWhoGetsWhatHadRoomAndTheCountOfTheRest) {
  constexpr int kLines = 2000;
  SmallPipe pipe;
  LineWriter writer(pipe.write.get(), 10'000);
  for (int i = 0; i < kLines; ++i) writer.write(fmt::format("line {:05}\n", i));
  EXPECT_FALSE(writer.flush(fromMilliseconds(1)));
  // In one batch or more, as the writer's thread gets its turns: each line is there, or in a count behind it.
  int next = 0, kept = 0, dropped = 0;
  std::string line;
  for (char c; next < kLines && ::read(pipe.read.get(), &c, 1) == 1;) {
    line += c;
    if (c != '\n') continue;
    int number = -1;
    if (std::sscanf(line.c_str(), "line %d", &number) == 1) {
      EXPECT_EQ(number, next);
      next = number + 1;
      ++kept;
    } else {
      EXPECT_EQ(std::sscanf(line.c_str(), "(%d lines were dropped: nobody read them)", &number), 1) << line;
      next += number;
      dropped += number;
    }
    line.clear();
  }
  EXPECT_EQ(kept + dropped, kLines);
  EXPECT_GE(kept, 10'000 / 11);
  EXPECT_GT(dropped, 0);
  EXPECT_TRUE(writer.flush(kPatience));
  writer.write("after\n");
  EXPECT_TRUE(writer.flush(kPatience));
  EXPECT_EQ(pipe.readUntil("after"), "after\n");
}

TEST(LiveLineWriter, TheCountStandsWhereTheLinesWouldHave) {
  SmallPipe pipe;
  LineWriter writer(pipe.write.get(), 100);
  const std::string page(4095, '.');
  writer.write(page + "\n");  // too long for this one
  writer.write("short\n");
  // Both, or the first alone where the writer had its turn in between; what is shorter never comes before.
  const std::string told = pipe.readUntil("dropped");
  EXPECT_TRUE(told.starts_with("(2 lines") || told.starts_with("(1 lines")) << told;
}

// Without a word to the process, which SIGPIPE would end.
TEST(LiveLineWriter, AReaderThatHasGoneEndsNobody) {
  SmallPipe pipe;
  LineWriter writer(pipe.write.get());
  pipe.read = {};
  writer.write("a\n");
  EXPECT_TRUE(writer.flush(kPatience));
  writer.write("b\n");
  EXPECT_TRUE(writer.flush(kPatience));
}

TEST(LiveLineWriter, ItsEndWritesWhatWaits) {
  SmallPipe pipe;
  { LineWriter(pipe.write.get()).write("last\n"); }
  pipe.write = {};
  EXPECT_EQ(pipe.readUntil("nothing else"), "last\n");
}

TEST(LiveLineWriter, ALogShowsLinesFromItsLevelOn) {
  SmallPipe pipe;
  Log log;
  log.addSink(logLines(std::make_shared<LineWriter>(pipe.write.get()), LogLevel::warning));
  log.info("not shown");
  log.warning("shown");
  const std::string text = pipe.readUntil("shown");
  EXPECT_EQ(text.substr(text.find(' ')), " warning shown\n");
}

}  // namespace
}  // namespace sonmere
