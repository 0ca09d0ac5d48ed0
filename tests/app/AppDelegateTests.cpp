#include "app/AppDelegate.h"

#include <gtest/gtest.h>

#include "app/LoginItemRule.h"
#include "base/VirtualRuntime.h"

namespace sonmere {
namespace {

constexpr const char* kShowWindow = "sonmere.showWindowOnLaunch";
constexpr const char* kFirstLaunch = "sonmere.hasCompletedFirstLaunch";

// A window that shows some time after the launch.
class LateWindow final : public WindowHost {
 public:
  explicit LateWindow(Runtime& runtime) : runtime_(runtime) {}
  bool closeMainWindows() override {
    asked.push_back(runtime_.uptime());
    isClosed = runtime_.uptime() >= shownAt;
    return isClosed;
  }
  void useDarkAppearance() override { isDark = true; }

  Duration shownAt{0};
  std::vector<Duration> asked;
  bool isClosed = false;
  bool isDark = false;

 private:
  Runtime& runtime_;
};

struct AppDelegateTest : testing::Test {
  VirtualRuntime runtime{1};
  Log log;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  AppDelegate delegate{runtime, log, settings, notifications};
};

TEST_F(AppDelegateTest, TheWindowClosesAtALoginOrWhenUnwantedButNotOnTheFirstLaunch) {
  struct Case {
    bool asLoginItem, hadFirstLaunch;
    std::optional<SettingsValue> showWindow;
    bool closes;
  };
  const Case cases[] = {
      {true, false, {}, true},  {false, false, false, false}, {false, true, false, true},
      {false, true, {}, false}, {false, true, true, false},   {false, true, "false", false},
      {true, true, true, true},
  };
  for (const Case& each : cases) {
    MemorySettingsStore store;
    if (each.hadFirstLaunch) store.set(kFirstLaunch, true);
    if (each.showWindow) store.set(kShowWindow, *each.showWindow);
    AppDelegate launched(runtime, log, store, notifications);
    LateWindow window(runtime);
    launched.applicationDidFinishLaunching(each.asLoginItem, &window);
    EXPECT_EQ(window.isClosed, each.closes);
    EXPECT_TRUE(window.isDark);
    EXPECT_TRUE(store.boolValue(kFirstLaunch));
    EXPECT_EQ(launched.launchedAsLoginItem(), each.asLoginItem);
  }
}

TEST_F(AppDelegateTest, ALateWindowIsLookedForEightTimesEachTimeLater) {
  LateWindow late(runtime), never(runtime);
  late.shownAt = fromMilliseconds(200);
  never.shownAt = std::chrono::hours(1);
  delegate.applicationDidFinishLaunching(true, &late);
  runtime.advance(std::chrono::seconds(5));
  EXPECT_TRUE(late.isClosed);
  EXPECT_EQ(late.asked.back(), fromMilliseconds(50 + 100 + 150));
  const Duration begin = runtime.uptime();
  delegate.applicationDidFinishLaunching(true, &never);
  runtime.advance(std::chrono::seconds(5));
  EXPECT_FALSE(never.isClosed);
  ASSERT_EQ(never.asked.size(), 8u);
  EXPECT_EQ(never.asked.back() - begin, fromMilliseconds(50 * (1 + 2 + 3 + 4 + 5 + 6 + 7)));
}

TEST_F(AppDelegateTest, AudioFilesWaitAndBringTheProgramForwardAnyOtherIsIgnored) {
  int asked = 0;
  const auto observer = notifications.observe(AppDelegate::kOpenMainWindow, [&](const auto&) { ++asked; });
  delegate.applicationOpen({"/a/Song.WAV", "/a/text.txt", "/a/noextension", "/a/b.opus", "/a/.wav"});
  EXPECT_EQ(delegate.pendingExternalURLs(), (std::vector<std::string>{"/a/Song.WAV", "/a/b.opus"}));
  EXPECT_EQ(asked, 0) << "not before the start-up step";
}

// What the system answers, and what then stands in the settings.
class FakeLoginItem final : public LoginItem {
 public:
  bool isEnabled() override { return enabled; }
  Outcome<void> registerItem() override {
    ++registrations;
    if (!works) return std::unexpected(Error{"Login", 1, "not allowed"});
    enabled = true;
    return {};
  }
  Outcome<void> unregisterItem() override { return {}; }

  bool enabled = false;
  bool works = true;
  int registrations = 0;
};

TEST_F(AppDelegateTest, TheLoginItemIsRegisteredOnceWhetherThatWorksOrNot) {
  for (const bool works : {true, false}) {
    MemorySettingsStore store;
    FakeLoginItem item;
    item.works = works;
    applyLoginItemRule(item, "why", store, log);
    EXPECT_EQ(store.boolValue("launchAtLogin"), works);
    item.enabled = false;  // the user took it away
    applyLoginItemRule(item, "why", store, log);
    EXPECT_EQ(item.registrations, 1);
    EXPECT_FALSE(store.boolValue("launchAtLogin"));
    EXPECT_TRUE(store.boolValue("didAutoRegisterLoginItem"));
  }
  MemorySettingsStore store;
  FakeLoginItem enabled;
  enabled.enabled = true;
  applyLoginItemRule(enabled, "why", store, log);
  EXPECT_EQ(enabled.registrations, 0);
  EXPECT_TRUE(store.boolValue("launchAtLogin"));
  EXPECT_FALSE(store.boolValue("didAutoRegisterLoginItem"));
}

}  // namespace
}  // namespace sonmere
