#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

#include "FakePortal.h"
#include "FakeService.h"
#include "PrivateBus.h"
#include "ui/hotkeys/Hotkeys.h"
#include "ui/model/Models.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

struct HotkeysTest : testing::Test {
  HotkeysTest() {
    models.link().start();
    EXPECT_TRUE(waits([this] { return models.link().state() == ServiceLink::State::connected; }));
    ControlJSON apps{{"order", {"music", "other"}}};
    apps["apps"]["music"] = {{"facts", {{"name", "Music"}}}, {"wishes", {{"volume", 0.5}, {"pinned", true}}}};
    apps["apps"]["other"] = {{"facts", {{"name", "Other"}}}};
    service.tell("apps", apps);
    EXPECT_TRUE(waits([this] { return models.apps().apps().size() == 2; }));
  }
  static bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  void enable(bool on) {
    ControlJSON settings{{"order", {"sonmere.hotkeys.enabled"}}};
    settings["settings"]["sonmere.hotkeys.enabled"] = {
        {"key", "sonmere.hotkeys.enabled"}, {"kind", "flag"}, {"value", on}};
    service.tell("settings", settings);
  }
  bool reaches(ShortcutPortal::State state) {
    return waits([&] { return portal.state() == state; });
  }
  bool asked(const char* method, const ControlJSON& params) {
    return waits([&] {
      return std::ranges::any_of(service.requests, [&](const ControlJSON& each) {
        return each["method"] == method && each["params"] == params;
      });
    });
  }
  QString keyOf(const QString& description) const {
    for (const HotkeyLine& line : hotkeys.lines())
      if (line.description == description) return line.key;
    return QStringLiteral("no such line");
  }

  PrivateBus bus;
  QTemporaryDir root;
  FakeService service{root.filePath(QStringLiteral("control.sock"))};
  Models models{root.path().toStdString()};
  ShortcutPortal portal{bus.address()};
  Hotkeys hotkeys{models, portal};
};

TEST_F(HotkeysTest, TheDesktopIsAskedForKeysAndEachDoesWhatItSays) {
  FakePortal desktop(bus.connect(QStringLiteral("desktop")));
  EXPECT_EQ(portal.state(), ShortcutPortal::State::off) << "nobody is asked before the user says so";
  enable(true);
  ASSERT_TRUE(reaches(ShortcutPortal::State::bound));
  EXPECT_EQ(desktop.sessions, 1);
  EXPECT_EQ(keyOf(QStringLiteral("Mute Music")), QStringLiteral("Super+m"));
  EXPECT_EQ(keyOf(QStringLiteral("Mute Other")), QStringLiteral("no such line")) << "it is not pinned";
  desktop.press(QStringLiteral("mute:music"));
  EXPECT_TRUE(asked("mute", {{"app", "music"}, {"muted", true}}));
  desktop.press(QStringLiteral("route:music"));
  EXPECT_TRUE(asked("route", {{"app", "music"}, {"bus", 0}}));
  desktop.press(QStringLiteral("microphone"));
  EXPECT_TRUE(asked("mic.enable", {{"enabled", true}}));
  desktop.press(QStringLiteral("mix"));
  EXPECT_TRUE(asked("mix.enable", {{"enabled", true}}));
  desktop.press(QStringLiteral("louder:music"));
  EXPECT_TRUE(waits([this] { return service.requests.back()["method"] == "volume"; }));
  EXPECT_NEAR(service.requests.back()["params"]["volume"].get<double>(), 0.5 * 1.2589, 1e-3);
  QSignalSpy window(&hotkeys, &Hotkeys::windowWanted);
  service.requests.clear();
  desktop.press(QStringLiteral("system"), QStringLiteral("/another/session"));
  desktop.press(QStringLiteral("window"));
  EXPECT_TRUE(waits([&] { return window.count() == 1; }));
  EXPECT_TRUE(service.requests.empty()) << "another program's key is none of ours";
  enable(false);
  EXPECT_TRUE(reaches(ShortcutPortal::State::off));
  EXPECT_TRUE(waits([&] { return desktop.closed == 1; }));
}

TEST_F(HotkeysTest, ADesktopThatRefusesVanishesOrHasNoneIsSaidAndAskedAnew) {
  enable(true);
  ASSERT_TRUE(reaches(ShortcutPortal::State::missing));
  EXPECT_TRUE(hotkeys.stateText().contains(QStringLiteral("bind a key to a command")));
  FakePortal desktop(bus.connect(QStringLiteral("desktop")));
  desktop.answer = 1;
  EXPECT_TRUE(reaches(ShortcutPortal::State::refused)) << "it has come since";
  desktop.answer = 0;
  enable(false);
  enable(true);
  ASSERT_TRUE(reaches(ShortcutPortal::State::bound));
  desktop.vanish();
  EXPECT_TRUE(reaches(ShortcutPortal::State::missing));
  EXPECT_TRUE(keyOf(QStringLiteral("Mute Music")).isEmpty());
  desktop.appear();
  ASSERT_TRUE(reaches(ShortcutPortal::State::bound));
  const int sessions = desktop.sessions;
  service.tell("apps", {{"apps", {{"other", {{"wishes", {{"pinned", true}}}}}}}});
  EXPECT_TRUE(waits([&] { return keyOf(QStringLiteral("Mute Other")) == QStringLiteral("Super+m"); }));
  EXPECT_EQ(desktop.sessions, sessions + 1);
  service.tell("apps", {{"apps", {{"other", {{"wishes", {{"volume", 0.2}}}}}}}});
  EXPECT_TRUE(waits([&] { return models.apps().find(QStringLiteral("other"))->volume < 0.3f; }));
  EXPECT_EQ(desktop.sessions, sessions + 1) << "a volume is no reason to ask again";
}

}  // namespace
}  // namespace sonmere
