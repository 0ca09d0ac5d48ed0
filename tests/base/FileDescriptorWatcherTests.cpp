#include "base/FileDescriptorWatcher.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>

#include "base/LiveRuntime.h"

namespace sonmere {
namespace {

struct Pair {
  Pair() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends) != 0)
      throw std::runtime_error("no sockets");
    near = FileDescriptor(ends[0]);
    far = FileDescriptor(ends[1]);
  }
  FileDescriptor near, far;
};

TEST(LiveFileDescriptorWatcher, TellsOnTheQueueUntilRemovedAndNeverTwiceAtOnce) {
  LiveRuntime runtime;
  auto watcher = std::move(*FileDescriptorWatcher::create(runtime.mainQueue()));
  Pair pair;
  std::string heard;
  ASSERT_TRUE(watcher->add(pair.near.get(), {.read = true}, [&] {
    EXPECT_TRUE(runtime.mainQueue().isCurrent());
    char byte = 0;
    ASSERT_EQ(recv(pair.near.get(), &byte, 1, 0), 1);
    heard += byte;
    if (heard.size() == 4) {
      watcher->remove(pair.near.get());
      runtime.mainQueue().postAfter(fromMilliseconds(20), [&] { runtime.stop(); });
    }
  }));
  EXPECT_FALSE(watcher->add(pair.near.get(), {.read = true}, [] {})) << "watched already";
  ASSERT_EQ(send(pair.far.get(), "abcdef", 6, 0), 6);
  runtime.run();
  EXPECT_EQ(heard, "abcd");
}

TEST(LiveFileDescriptorWatcher, TellsRoomToWriteAndThenTheEndOfTheOtherSide) {
  LiveRuntime runtime;
  auto watcher = std::move(*FileDescriptorWatcher::create(runtime.mainQueue()));
  Pair pair;
  std::string told;
  ASSERT_TRUE(watcher->add(pair.near.get(), {.write = true}, [&] {
    char byte = 0;
    if (told.empty()) {
      told = "room";
      watcher->change(pair.near.get(), {.read = true});
      shutdown(pair.far.get(), SHUT_WR);
    } else {
      told += recv(pair.near.get(), &byte, 1, 0) == 0 ? ", end" : ", bytes";
      runtime.stop();
      watcher->remove(pair.near.get());
    }
  }));
  runtime.run();
  EXPECT_EQ(told, "room, end");
}

TEST(LiveFileDescriptorWatcher, NothingIsToldAfterItsEnd) {
  LiveRuntime runtime;
  Pair pair;
  ASSERT_EQ(send(pair.far.get(), "x", 1, 0), 1);
  {
    auto watcher = std::move(*FileDescriptorWatcher::create(runtime.mainQueue()));
    ASSERT_TRUE(watcher->add(pair.near.get(), {.read = true}, [] { ADD_FAILURE() << "told"; }));
    // Its thread may have posted already.
    runtime.blockFor(fromMilliseconds(20));
  }
  runtime.mainQueue().postAfter(fromMilliseconds(20), [&] { runtime.stop(); });
  runtime.run();
}

}  // namespace
}  // namespace sonmere
