// Who may touch what the main thread owns: looked at on every runtime.
#include <gtest/gtest.h>

#include <thread>

#include "base/LiveRuntime.h"
#include "base/LiveThreads.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Observable.h"
#include "base/VirtualRuntime.h"

namespace sonmere {
namespace {

std::atomic<int> brokenRules;

class ThreadRulesTest : public ::testing::Test {
 protected:
  ThreadRulesTest() { brokenRules = 0; }
  ~ThreadRulesTest() override { ThreadRules::install(before_); }

  // How many rules `work` breaks.
  static int brokenBy(const std::function<void()>& work) {
    const int before = brokenRules;
    work();
    return brokenRules - before;
  }

  void setValue(int value) { value_.set(value); }
  void addToValue() {
    value_.update([](int& value) { ++value; });
  }

  OwnedObservable<int, ThreadRulesTest> value_{0};
  NotificationCenter center_;
  Log log_;

 private:
  ThreadRules::Handler before_ =
      ThreadRules::install([](const char*, const std::source_location&) noexcept { ++brokenRules; });
};

TEST_F(ThreadRulesTest, VirtualQueuesAndDevicesAreNotTheMainThread) {
  VirtualRuntime runtime(1);
  const auto serial = runtime.serialQueue("work");
  const auto set = [this] { return brokenBy([this] { setValue(1); }); };
  int onMain = -1, onSerial = -1, inCycle = -1, afterSleep = -1;
  runtime.mainQueue().post([&] {
    onMain = set();
    runtime.blockFor(fromMilliseconds(20));
    afterSleep = set();
  });
  serial->post([&] { onSerial = set(); });
  const auto clock = runtime.startCycles("device", fromMilliseconds(10), [&](Duration deadline) {
    inCycle = set();
    return deadline + fromSeconds(10);
  });
  runtime.advance(fromSeconds(1));
  EXPECT_EQ(onMain, 0);
  EXPECT_EQ(afterSleep, 0) << "what ran meanwhile has left its mark";
  EXPECT_EQ(onSerial, 1);
  EXPECT_EQ(inCycle, 1);
}

TEST_F(ThreadRulesTest, LiveQueuesAndThreadsAreNotTheMainThread) {
  LiveRuntime runtime;
  std::atomic<int> onSerial{-1}, onGlobal{-1};
  int onMain = -1;
  runtime.serialQueue("work")->post([&] {
    onSerial = brokenBy([this] { center_.post("changed"); });
    runtime.globalQueue().post([&] {
      onGlobal = brokenBy([this] { const auto end = value_.observe([](int) {}); });
      runtime.mainQueue().post([&] {
        onMain = brokenBy([this] { addToValue(); });
        runtime.stop();
      });
    });
  });
  runtime.run();
  EXPECT_EQ(onSerial, 1);
  EXPECT_EQ(onGlobal, 1);
  EXPECT_EQ(onMain, 0);
}

TEST_F(ThreadRulesTest, ARenderThreadNeitherLogsNorPosts) {
  VirtualRuntime virtualTime(1);
  LiveRuntime live;
  const auto serial = live.serialQueue("work");
  EXPECT_EQ(brokenBy([&] { log_.info("here"); }), 0);
  const RealtimeScope scope;
  EXPECT_EQ(brokenBy([&] { log_.info("here"); }), 1);
  EXPECT_EQ(brokenBy([&] { virtualTime.mainQueue().post([] {}); }), 1);
  EXPECT_EQ(brokenBy([&] { serial->post([] {}); }), 1);
  EXPECT_EQ(brokenBy([&] { live.globalQueue().post([] {}); }), 1);
}

}  // namespace
}  // namespace sonmere
