#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "base/FileDescriptor.h"
#include "base/LiveRuntime.h"
#include "platform/desktop/DesktopPowerEvents.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace {

// A message bus of the test's own in the place of the system's.
class PrivateBus {
 public:
  PrivateBus() {
    const std::string config = folder_ / "bus.conf";
    std::ofstream(config)
        << "<busconfig><type>session</type><listen>unix:path=" << (folder_ / "bus").string()
        << "</listen><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
           "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/></policy></busconfig>";
    std::array<int, 2> ends;
    if (pipe2(ends.data(), 0) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(ends[0]);
      if (!std::freopen("/dev/null", "w", stderr)) _exit(1);
      execlp("dbus-daemon", "dbus-daemon", "--nofork", ("--config-file=" + config).c_str(),
             ("--print-address=" + std::to_string(ends[1])).c_str(), nullptr);
      _exit(1);
    }
    close(ends[1]);
    FILE* const address = fdopen(ends[0], "r");
    std::array<char, 512> line{};
    isUp_ = fgets(line.data(), line.size(), address) != nullptr;
    fclose(address);
    setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (folder_ / "bus").string()).c_str(), 1);
  }
  ~PrivateBus() {
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    stop();
  }
  void stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }
  bool isUp() const { return isUp_; }

 private:
  TemporaryFolder folder_;
  pid_t pid_ = 0;
  bool isUp_ = false;
};

// What of logind the program meets: it hands out delays and sees them end.
class FakeLogind {
 public:
  FakeLogind() {
    static const sd_bus_vtable kTable[] = {SD_BUS_VTABLE_START(0),
                                           SD_BUS_METHOD("Inhibit", "ssss", "h", &FakeLogind::inhibit, 0),
                                           SD_BUS_SIGNAL("PrepareForSleep", "b", 0),
                                           SD_BUS_SIGNAL("PrepareForShutdown", "b", 0), SD_BUS_VTABLE_END};
    isUp = sd_bus_open_system(&bus_) >= 0 &&
           sd_bus_add_object_vtable(bus_, nullptr, kPath, kInterface, kTable, this) >= 0 &&
           sd_bus_request_name(bus_, "org.freedesktop.login1", 0) >= 0;
  }
  ~FakeLogind() { sd_bus_flush_close_unref(bus_); }

  // Serves the bus until the condition holds.
  void serveUntil(const std::function<bool()>& condition) {
    while (!condition())
      if (sd_bus_process(bus_, nullptr) == 0) sd_bus_wait(bus_, 5000);
  }
  void prepareForSleep(bool isBeginning) { prepareFor("PrepareForSleep", isBeginning); }
  void prepareFor(const char* signal, bool isBeginning) {
    sd_bus_emit_signal(bus_, kPath, kInterface, signal, "b", int(isBeginning));
  }
  // Whether nobody holds the delay any more.
  static bool isReleased(int delay, int patience = 0) {
    pollfd end{delay, POLLIN, 0};
    return ::poll(&end, 1, patience) == 1 && (end.revents & POLLHUP);
  }

  bool isUp = false;
  std::vector<FileDescriptor> delays;
  std::atomic<int> latestDelay = -1;  // the program's threads may look at it
  std::string what;

 private:
  static constexpr const char* kPath = "/org/freedesktop/login1";
  static constexpr const char* kInterface = "org.freedesktop.login1.Manager";

  static int inhibit(sd_bus_message* message, void* self, sd_bus_error*) {
    const char *what = "", *who = "", *why = "", *mode = "";
    sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return -errno;
    auto* const logind = static_cast<FakeLogind*>(self);
    logind->what = std::string(what) + " " + who + " " + mode;
    logind->delays.emplace_back(ends[0]);
    logind->latestDelay = ends[0];
    const FileDescriptor given(ends[1]);
    return sd_bus_reply_method_return(message, "h", given.get());
  }

  sd_bus* bus_ = nullptr;
};

struct Told {
  explicit Told(Log& log) {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  std::vector<std::string> lines;
};

}  // namespace

TEST(DesktopPowerEvents, WithoutABusNothingIsReportedAndTheLogSaysSoOnce) {
  const TemporaryFolder folder;
  setenv("DBUS_SYSTEM_BUS_ADDRESS", ("unix:path=" + (folder / "none").string()).c_str(), 1);
  LiveRuntime runtime;
  Log log;
  const Told told(log);
  DesktopPowerEvents events(runtime, log);
  unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  EXPECT_FALSE(events.isAvailable());
  ASSERT_EQ(told.lines.size(), 1u);
  EXPECT_EQ(told.lines[0].rfind("Sleep and wake are not reported: no system bus", 0), 0u) << told.lines[0];
}

TEST(DesktopPowerEvents, SleepWaitsForTheObserversAndWakeIsReported) {
  PrivateBus bus;
  if (!bus.isUp()) GTEST_SKIP() << "no dbus-daemon here";
  FakeLogind logind;
  ASSERT_TRUE(logind.isUp);
  LiveRuntime runtime;
  Log log;
  const Told told(log);
  std::unique_ptr<DesktopPowerEvents> events;
  std::atomic<bool> isMade = false, isObserving = false, isDone = false;
  std::vector<std::string> seen;
  Subscription sleep, wake;
  // The program's main thread; the test's own serves the bus.
  std::thread program([&] {
    events = std::make_unique<DesktopPowerEvents>(runtime, log);
    sleep = events->observeWillSleep([&] {
      seen.push_back(FakeLogind::isReleased(logind.latestDelay) ? "sleeps too early" : "sleep");
      isObserving = true;
    });
    wake = events->observeDidWake([&] {
      seen.push_back("wake");
      isDone = true;
      runtime.stop();
    });
    isMade = true;
    runtime.run();
  });
  logind.serveUntil([&] { return isMade.load(); });
  EXPECT_TRUE(events->isAvailable());
  EXPECT_EQ(logind.what, "sleep Sonmere delay");
  logind.prepareForSleep(true);
  logind.serveUntil([&] { return isObserving && FakeLogind::isReleased(logind.latestDelay); });
  logind.prepareForSleep(false);
  logind.serveUntil([&] { return isDone.load(); });
  program.join();
  EXPECT_EQ(seen, (std::vector<std::string>{"sleep", "wake"}));
  ASSERT_EQ(logind.delays.size(), 3u) << "a shutdown, and the next sleep too";
  EXPECT_FALSE(FakeLogind::isReleased(logind.latestDelay));
  EXPECT_TRUE(told.lines.empty());
  events.reset();
  EXPECT_TRUE(FakeLogind::isReleased(logind.latestDelay, 10000)) << "within this time at most";
}

// A shutdown waits for the program's end, in which recordings are completed; a bus that is lost in a sleep
// leaves nobody asleep.
TEST(DesktopPowerEvents, AShutdownEndsTheProgramAndWaitsForIt) {
  PrivateBus bus;
  if (!bus.isUp()) GTEST_SKIP() << "no dbus-daemon here";
  FakeLogind logind;
  ASSERT_TRUE(logind.isUp);
  LiveRuntime runtime;
  Log log;
  std::unique_ptr<DesktopPowerEvents> events;
  std::atomic<bool> isMade = false, isOver = false, hasSlept = false, hasWoken = false;
  Subscription end, sleep, wake;
  std::thread program([&] {
    events = std::make_unique<DesktopPowerEvents>(runtime, log);
    end = events->observeWillTerminate([&] { isOver = true; });
    sleep = events->observeWillSleep([&] { hasSlept = true; });
    wake = events->observeDidWake([&] {
      hasWoken = true;
      runtime.stop();
    });
    isMade = true;
    runtime.run();
  });
  logind.serveUntil([&] { return isMade.load(); });
  const int shutdown = logind.delays.front().get();
  logind.prepareFor("PrepareForShutdown", true);
  logind.serveUntil([&] { return isOver.load(); });
  EXPECT_FALSE(FakeLogind::isReleased(shutdown)) << "the program has not ended yet";
  logind.prepareForSleep(true);
  logind.serveUntil([&] { return hasSlept.load(); });
  bus.stop();
  program.join();
  EXPECT_TRUE(hasWoken);
  events.reset();
  EXPECT_TRUE(FakeLogind::isReleased(shutdown, 10000));
}

TEST(DesktopPowerEvents, ABusWithoutLogindReportsNothing) {
  PrivateBus bus;
  if (!bus.isUp()) GTEST_SKIP() << "no dbus-daemon here";
  LiveRuntime runtime;
  Log log;
  const Told told(log);
  const DesktopPowerEvents events(runtime, log);
  EXPECT_FALSE(events.isAvailable());
  ASSERT_EQ(told.lines.size(), 1u);
  EXPECT_NE(told.lines[0].find("logind does not answer"), std::string::npos) << told.lines[0];
}

}  // namespace sonmere
