// The program as others on a desktop see it: on a session bus of the test's own, by other programs.

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <thread>

#include "base/LiveRuntime.h"
#include "control/desktop/DesktopPresence.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

// A program beside this one, ended with the object.
class Beside {
 public:
  explicit Beside(const std::string& command) {
    std::string line = "exec " + command;
    std::array<char*, 4> arguments{const_cast<char*>("sh"), const_cast<char*>("-c"), line.data(), nullptr};
    posix_spawn(&pid_, "/bin/sh", nullptr, nullptr, arguments.data(), environ);
  }
  ~Beside() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  Beside(const Beside&) = delete;
  Beside& operator=(const Beside&) = delete;

 private:
  pid_t pid_ = 0;
};

struct DesktopBusTest : testing::Test {
  void SetUp() override {
    for (const char* name : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"})
      setenv(name, ("unix:path=" + socket).c_str(), 1);
    ASSERT_TRUE(until([&] { return access(socket.c_str(), F_OK) == 0; }));
    world.launch("org.music");
    world.app->startUp();
    world.platform.embedded()->playAll();
    presence.emplace(world.runtime, world.log, *watcher, control, true);
  }
  ~DesktopBusTest() override {
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
  }
  // Another program asks, while this one goes on; what it printed.
  std::string run(const std::string& command) {
    std::string printed;
    std::atomic<bool> isDone{false};
    std::thread other([&] {
      FILE* const output = popen((command + " 2>&1").c_str(), "r");
      std::array<char, 4096> block;
      while (output && std::fgets(block.data(), block.size(), output)) printed += block.data();
      if (output) pclose(output);
      isDone = true;
      world.runtime.mainQueue().post([this] { world.runtime.stop(); });
    });
    while (!isDone) world.runtime.run();
    other.join();
    return printed;
  }
  std::string busctl(const std::string& rest) { return run("busctl --user " + rest); }
  std::string property(const std::string& object, const std::string& interface, const std::string& name) {
    return busctl("get-property com.sonmere.Sonmere1 /com/sonmere/Sonmere1" + object +
                  " com.sonmere.Sonmere1" + interface + " " + name);
  }
  bool until(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) {
      const TaskToken wake =
          world.runtime.mainQueue().postAfter(fromMilliseconds(5), [this] { world.runtime.stop(); });
      world.runtime.run();
      wake.cancel();
    }
    return condition();
  }

  AppWorld<LiveRuntime> world;
  const std::string socket = world.folder / "bus";
  const Beside bus{"dbus-daemon --session --nofork --nopidfile --address=unix:path=" + socket};
  std::unique_ptr<FileDescriptorWatcher> watcher =
      std::move(*FileDescriptorWatcher::create(world.runtime.mainQueue()));
  Control control{world.start(), world.platform, [] {}};
  std::optional<DesktopPresence> presence;
};

TEST_F(DesktopBusTest, OtherProgramsReadChangeAndFollowIt) {
  const std::string music = "/apps/org_2emusic";
  ASSERT_TRUE(until([&] { return property(music, ".App", "Name").starts_with("s "); }));
  const std::string tree = busctl("tree com.sonmere.Sonmere1");
  EXPECT_TRUE(tree.contains("/com/sonmere/Sonmere1" + music)) << tree;
  EXPECT_TRUE(tree.contains("/com/sonmere/Sonmere1/buses/bus2")) << tree;
  EXPECT_TRUE(busctl("introspect com.sonmere.Sonmere1 /com/sonmere/Sonmere1").contains("StartRecording"));

  const std::string signals = world.folder / "signals";
  const Beside monitor("gdbus monitor --session --dest com.sonmere.Sonmere1 > " + signals);
  const auto hasHeard = [&](const std::string& text) {
    std::ifstream in(signals);
    return std::string(std::istreambuf_iterator<char>(in), {}).contains(text);
  };
  ASSERT_TRUE(until([&] { return hasHeard("owned"); }));
  EXPECT_EQ(property(music, ".App", "Volume"), "d 1\n");
  EXPECT_EQ(busctl("set-property com.sonmere.Sonmere1 /com/sonmere/Sonmere1" + music +
                   " com.sonmere.Sonmere1.App Volume d 0.5"),
            "");
  EXPECT_EQ(world.app->volumeMixerEngine()->appState("org.music").volume, 0.5f);
  EXPECT_TRUE(until([&] { return hasHeard("{'Volume': <0.5>}"); }));
  const auto call = [&](const std::string& object, const std::string& rest) {
    return busctl("call com.sonmere.Sonmere1 /com/sonmere/Sonmere1" + object + " com.sonmere.Sonmere1" +
                  rest);
  };
  EXPECT_EQ(call(music, ".App Route i 2"), "");
  EXPECT_EQ(property(music, ".App", "Bus"), "i 2\n");
  EXPECT_EQ(call("", " StartRecording ai 1 2"), "");
  EXPECT_TRUE(
      until([&] { return hasHeard("InterfacesAdded (objectpath '/com/sonmere/Sonmere1/recordings/bus2'"); }));
  EXPECT_EQ(property("", "", "Recording"), "b true\n");
  const std::string path = call("/recordings/bus2", ".Recording Stop");
  EXPECT_TRUE(path.contains(".wav")) << path;
  EXPECT_EQ(property("", "", "Recording"), "b false\n");
  EXPECT_EQ(call(music, ".App Unroute"), "");
  EXPECT_EQ(property(music, ".App", "Bus"), "i -1\n");
  EXPECT_TRUE(call("", " Call ss apps '{}'").contains("org.music"));

  EXPECT_TRUE(call(music, ".App Route i 1").contains("bus 1 is none that apps route to"));
  EXPECT_TRUE(call("", " Call ss nonsense ''").contains("there is no method"));
  EXPECT_TRUE(call("", " Call ss apps '['").contains("no JSON object"));
  EXPECT_TRUE(property("/apps/nobody", ".App", "Name").contains("nknown object"));
  EXPECT_TRUE(property("/apps/org_2emusic", ".App", "Nonsense").contains("nknown"));
}

// What a desktop offers to programs: notifications, of which somebody presses every button, a file manager,
// and who decides on sleep.
class FakeDesktop {
 public:
  FakeDesktop() {
    static const sd_bus_vtable kNotifications[] = {
        SD_BUS_VTABLE_START(0),
        SD_BUS_METHOD("Notify", "susssasa{sv}i", "u", notify, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_SIGNAL("ActionInvoked", "us", 0), SD_BUS_VTABLE_END};
    static const sd_bus_vtable kFiles[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("ShowItems", "ass", "", show, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_METHOD("ShowFolders", "ass", "", show, SD_BUS_VTABLE_UNPRIVILEGED), SD_BUS_VTABLE_END};
    static const sd_bus_vtable kLogin[] = {
        SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Inhibit", "ssss", "h", inhibit, SD_BUS_VTABLE_UNPRIVILEGED),
        SD_BUS_VTABLE_END};
    sd_bus_open_user(&bus_);
    sd_bus_add_object_vtable(bus_, nullptr, "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                             kLogin, this);
    sd_bus_add_object_vtable(bus_, nullptr, "/org/freedesktop/Notifications", "org.freedesktop.Notifications",
                             kNotifications, this);
    sd_bus_add_object_vtable(bus_, nullptr, "/org/freedesktop/FileManager1", "org.freedesktop.FileManager1",
                             kFiles, this);
    for (const char* name :
         {"org.freedesktop.Notifications", "org.freedesktop.FileManager1", "org.freedesktop.login1"})
      sd_bus_request_name(bus_, name, 0);
    thread_ = std::thread([this] {
      while (!hasEnded_) {
        while (sd_bus_process(bus_, nullptr) > 0) {
        }
        sd_bus_wait(bus_, 20'000);
      }
    });
  }
  ~FakeDesktop() {
    hasEnded_ = true;
    thread_.join();
    sd_bus_flush_close_unref(bus_);
  }
  std::vector<std::string> told() const { return (std::lock_guard(mutex_), told_); }
  // Somebody has asked for it, and has the other end open.
  bool mayNotSleep() const {
    pollfd end{awake_, 0, 0};
    return awake_ >= 0 && poll(&end, 1, 0) >= 0 && (end.revents & POLLHUP) == 0;
  }

 private:
  void note(std::string text) {
    const std::lock_guard lock(mutex_);
    told_.push_back(std::move(text));
  }
  static int notify(sd_bus_message* message, void* data, sd_bus_error*) {
    const char *app = nullptr, *icon = nullptr, *title = nullptr, *text = nullptr, *button = nullptr;
    std::uint32_t replaced = 0;
    sd_bus_message_read(message, "susss", &app, &replaced, &icon, &title, &text);
    sd_bus_message_enter_container(message, 'a', "s");
    const bool hasButton = sd_bus_message_read(message, "s", &button) > 0;
    static_cast<FakeDesktop*>(data)->note(std::string(title) + ": " + text);
    sd_bus_reply_method_return(message, "u", 7);
    if (hasButton)
      sd_bus_emit_signal(sd_bus_message_get_bus(message), "/org/freedesktop/Notifications",
                         "org.freedesktop.Notifications", "ActionInvoked", "us", 7, button);
    return 1;
  }
  static int inhibit(sd_bus_message* message, void* data, sd_bus_error*) {
    const char *what = nullptr, *who = nullptr, *why = nullptr, *mode = nullptr;
    sd_bus_message_read(message, "ssss", &what, &who, &why, &mode);
    int ends[2];
    if (std::string_view(mode) != "block" || pipe2(ends, O_CLOEXEC) != 0) return -EINVAL;
    static_cast<FakeDesktop*>(data)->awake_ = ends[0];
    const int status = sd_bus_reply_method_return(message, "h", ends[1]);
    close(ends[1]);
    return status;
  }
  static int show(sd_bus_message* message, void* data, sd_bus_error*) {
    const char* uri = nullptr;
    std::string all;
    sd_bus_message_enter_container(message, 'a', "s");
    while (sd_bus_message_read(message, "s", &uri) > 0) all += std::string(all.empty() ? "" : " ") + uri;
    static_cast<FakeDesktop*>(data)->note(all);
    return sd_bus_reply_method_return(message, nullptr);
  }

  sd_bus* bus_ = nullptr;
  std::atomic<bool> hasEnded_{false};
  std::atomic<int> awake_{-1};
  mutable std::mutex mutex_;
  std::vector<std::string> told_;
  std::thread thread_;
};

TEST_F(DesktopBusTest, ARecordingHoldsOffSleepAndItsEndIsToldWithAButtonUnlessTheUserWantsNone) {
  const FakeDesktop desktop;
  const auto record = [&] {
    std::string path;
    bool isDone = false;
    RecordingControl::Start track;
    track.sources = {2};
    control.recordings().start(track, [&](const auto& started) {
      if (started) path = started->front().path;
    });
    EXPECT_TRUE(until([&] { return !path.empty(); }));
    EXPECT_EQ(property("", "", "Recording"), "b true\n");
    EXPECT_TRUE(until([&] { return desktop.mayNotSleep(); }));
    control.recordings().stop(2, [&](const auto&) { isDone = true; });
    EXPECT_TRUE(until([&] { return isDone; }));
    EXPECT_TRUE(until([&] { return !desktop.mayNotSleep(); }));
    return path;
  };
  ASSERT_TRUE(control.apps().route("org.music", 2));
  const std::string path = record();
  ASSERT_TRUE(until([&] { return desktop.told().size() >= 2; })) << desktop.told().size();
  const std::string name = path.substr(path.rfind('/') + 1);
  EXPECT_EQ(desktop.told()[0], "Recording finished: " + name);
  // Blanks and the dash of the name are written as a URI has them.
  EXPECT_TRUE(desktop.told()[1].starts_with("file:///")) << desktop.told()[1];
  EXPECT_TRUE(desktop.told()[1].contains("Sonmere%20Track%201%20%E2%80%94%20")) << desktop.told()[1];

  // What was recorded together is told once and shown together.
  ASSERT_TRUE(control.apps().route("org.music", 3));
  RecordingControl::Start all;
  all.sources = {kBridgeBus, 3};
  control.recordings().start(all, [](const auto& started) { EXPECT_TRUE(started); });
  ASSERT_TRUE(until([&] { return control.recordings().list().size() == 2; }));
  EXPECT_TRUE(until([&] { return desktop.mayNotSleep(); }));
  control.recordings().stopAll([](const auto&) {});
  ASSERT_TRUE(until([&] { return desktop.told().size() >= 4; })) << testing::PrintToString(desktop.told());
  EXPECT_TRUE(desktop.told()[2].ends_with(" and 1 more file")) << desktop.told()[2];
  EXPECT_TRUE(desktop.told()[3].contains("Recording%20%E2%80%94%20")) << desktop.told()[3];
  EXPECT_TRUE(desktop.told()[3].contains(" file:///") && desktop.told()[3].contains("Track%202"))
      << desktop.told()[3];

  ASSERT_TRUE(control.apps().route("org.music", 2));
  ASSERT_TRUE(control.settings().set("sonmere.notifications", SettingsValue(false), false));
  record();
  EXPECT_FALSE(property("", "", "Version").empty()) << "the bus has been asked and has answered since";
  EXPECT_EQ(desktop.told().size(), 4u);
}

}  // namespace
}  // namespace sonmere
