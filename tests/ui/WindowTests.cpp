#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QScrollArea>
#include <QScrollBar>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTranslator>
#include <random>

#include "FakeService.h"
#include "WavFile.h"
#include "ui/MainWindow.h"
#include "ui/launch/Translations.h"
#include "ui/model/Models.h"
#include "ui/pages/LibraryStack.h"
#include "ui/sheets/Greeting.h"
#include "ui/widgets/AppRow.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/RouteButton.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

struct WindowTest : testing::Test {
  void make() {
    bench = std::make_unique<Workbench>(Workbench::demoPlace(root.path().toStdString()));
    models = std::make_unique<Models>(root.path().toStdString());
    window = std::make_unique<MainWindow>(*models, *bench);
    window->show();
    models->link().start();
    ASSERT_TRUE(waits([this] { return models->link().state() == ServiceLink::State::connected; }));
  }
  static bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  static ControlJSON apps(int count) {
    ControlJSON value = {{"order", ControlJSON::array()}, {"apps", ControlJSON::object()}};
    for (int i = 0; i < count; ++i) {
      const std::string id = "org.app" + std::to_string(i);
      value["order"].push_back(id);
      value["apps"][id] = {
          {"facts", {{"name", "App " + std::to_string(i)}, {"running", i % 2 == 0}, {"control", "mixer"}}},
          {"wishes", {{"volume", 1.0}}}};
    }
    return value;
  }
  // Its first app is routed.
  static ControlJSON routed(ControlJSON value) {
    value["apps"]["org.app0"]["facts"].update({{"control", "routed"}, {"bus", 2}});
    return value;
  }
  static ControlJSON monitor() {
    ControlJSON value = {{"order", {"headset"}}, {"facts", {{"device", "USB Headset"}}}};
    value["wishes"] = {{"enabled", true}, {"following", false}};
    value["devices"]["headset"] = {{"id", "headset"}, {"name", "USB Headset"}, {"chosen", true}};
    value["apps"]["org.app0"]["enabled"] = true;
    value["buses"]["3"] = {{"bus", 3}, {"enabled", true}};
    return value;
  }
  void fill() {
    service.tell("apps", routed(apps(4)));
    service.tell("monitor", monitor());
    service.tell("mixer", {{"facts", {{"outputDevice", "Speakers"}}}, {"wishes", {{"enabled", true}}}});
    ControlJSON settings = {{"order", {"a", "b", "c", "d"}}};
    settings["settings"]["a"] = {
        {"key", "a"}, {"kind", "flag"}, {"meaning", "A flag"}, {"effect", "at once"}, {"value", true}};
    settings["settings"]["b"] = {
        {"key", "b"}, {"kind", "number"}, {"meaning", "A number"}, {"value", 1}, {"highest", 5}};
    settings["settings"]["c"] = {
        {"key", "c"}, {"kind", "choice"}, {"meaning", "A choice"}, {"value", "x"}, {"choices", {"x", "y"}}};
    settings["settings"]["d"] = {
        {"key", "d"}, {"kind", "folder"}, {"meaning", "A folder"}, {"value", "/home/somebody/Music"}};
    service.tell("settings", settings);
    fillSystem();
    ControlJSON recording;
    recording["facts"]["running"]["2"]["path"] = "/a.wav";
    service.tell("recording", recording);
    ASSERT_TRUE(waits([this] {
      return window->findChildren<AppRow*>().size() == 4 && !models->recording().running().empty();
    }));
    for (auto* button : window->findChildren<QToolButton*>()) {
      if (button->accessibleName().contains(QStringLiteral("App 0")) && button->isCheckable() &&
          button->icon().cacheKey() && !button->accessibleName().contains(QStringLiteral("Mute")))
        button->setChecked(true);
    }
    QDir(root.path()).mkpath(QStringLiteral("recordings"));
    writeTone(root.filePath(QStringLiteral("recordings/Voice — 2026-01-02 03-04-05.wav")), 2);
  }
  void fillSystem() {
    ControlJSON system{{"order", {"usb"}},
                       {"facts", {{"outputName", "USB Headset"}, {"error", "It failed."}}}};
    system["devices"]["usb"]["name"] = "USB Headset";
    service.tell("system", system);
    ControlJSON mix{{"order", {"org.app0"}}};
    mix["apps"]["org.app0"]["name"] = "App 0";
    mix["wishes"] = {{"enabled", true}, {"hearsTracks", true}, {"catchAll", {{"enabled", true}}}};
    for (int track = 1; track <= 8; ++track) mix["tracks"][std::to_string(track)]["track"] = track;
    service.tell("mix", mix);
    service.tell("daw", {{"wishes", {{"enabled", true}}},
                         {"facts", {{"present", true}, {"name", "Sonmere Multi-Track"}, {"inputs", 16}}}});
    ControlJSON routing{{"order", {"p"}}};
    routing["profiles"]["p"] = {{"id", "p"}, {"name", "Podcast with a long name"}, {"apps", {"org.app0"}}};
    service.tell("routing", routing);
    ControlJSON rules{{"order", {1}}};
    rules["rules"]["1"] = {{"rule", 1},
                           {"enabled", true},
                           {"problem", "There is no profile of that name any more."},
                           {"when", {{"kind", "device"}, {"subject", "USB Headset"}}},
                           {"act", {{"kind", "profile"}, {"target", "Podcast with a long name"}}}};
    service.tell("rules", rules);
  }
  // Of the page that is shown, with the side bar.
  std::vector<QWidget*> visible() const {
    std::vector<QWidget*> all;
    for (auto* widget : window->findChildren<QWidget*>()) {
      if (widget->isVisible()) all.push_back(widget);
    }
    return all;
  }

  QTemporaryDir root;
  FakeService service{root.filePath(QStringLiteral("control.sock"))};
  std::unique_ptr<Workbench> bench;
  std::unique_ptr<Models> models;
  std::unique_ptr<MainWindow> window;
};

// A text that needs more room than its widget has.
QString clipped(const QWidget& widget) {
  const auto* label = qobject_cast<const QLabel*>(&widget);
  if (label && !dynamic_cast<const ElidedLabel*>(label) && !label->wordWrap() && !label->text().isEmpty() &&
      label->width() < label->sizeHint().width()) {
    return label->text();
  }
  if (label && label->wordWrap() && label->height() < label->heightForWidth(label->width()))
    return label->text();
  const auto* button = qobject_cast<const QAbstractButton*>(&widget);
  if (button && !button->text().isEmpty() && button->width() < button->minimumSizeHint().width())
    return button->text();
  const auto* box = qobject_cast<const QComboBox*>(&widget);
  if (box && box->width() < box->minimumSizeHint().width()) return box->currentText();
  return {};
}

TEST_F(WindowTest, TheRoutesAreShownAsTheyFareAndCanBeReset) {
  make();
  ControlJSON routes = {{"order", {"input"}}, {"facts", {{"worst", "degraded"}, {"resetting", false}}}};
  routes["routes"]["input"] = {{"id", "input"},
                               {"name", "Microphone"},
                               {"verdict", "degraded"},
                               {"detail", "Input device disconnected"},
                               {"advice", "connect it again"}};
  service.tell("routes", routes);
  const auto tables = window->findChildren<QTableWidget*>();
  const auto table = std::ranges::find(tables, QStringLiteral("Routes"), &QWidget::accessibleName);
  ASSERT_NE(table, tables.end());
  ASSERT_TRUE(waits([&] { return (*table)->rowCount() == 1; }));
  EXPECT_EQ((*table)->item(0, 1)->text(), QStringLiteral("degraded"));
  EXPECT_EQ((*table)->item(0, 2)->toolTip(), QStringLiteral("connect it again"));
  const auto buttons = window->findChildren<QAbstractButton*>();
  const auto reset = std::ranges::find(buttons, QStringLiteral("Reset Routing"), &QAbstractButton::text);
  ASSERT_NE(reset, buttons.end());
  (*reset)->click();
  EXPECT_TRUE(waits([this] {
    return std::ranges::any_of(service.requests,
                               [](const auto& request) { return request["method"] == "routes.reset"; });
  }));
  service.tell("routes", {{"facts", {{"resetting", true}}}});
  EXPECT_TRUE(waits([&] { return !(*reset)->isEnabled(); }));
}

TEST_F(WindowTest, NoTextIsClippedOnAnyPageInEitherLanguage) {
  for (const char* language : {"en", "de"}) {
    installTranslations(QLatin1String(language));
    make();
    fill();
    const bool isGerman = language == std::string("de");
    EXPECT_EQ(MainWindow::tr("Library"), isGerman ? QStringLiteral("Bibliothek") : QStringLiteral("Library"));
    for (const QSize size : {QSize(640, 480), QSize(1040, 720)}) {
      window->resize(size);
      for (int page = 0; page < window->pageCount(); ++page) {
        window->showPage(page);
        QTest::qWait(30);
        for (const QWidget* widget : visible()) {
          EXPECT_EQ(clipped(*widget), QString())
              << language << ", " << qPrintable(window->pageName(page)) << ", " << size.width();
        }
        for (const auto* area : window->findChildren<QScrollArea*>()) {
          if (!area->isVisible()) continue;
          EXPECT_EQ(area->horizontalScrollBar()->maximum(), 0)
              << language << ", " << qPrintable(window->pageName(page)) << ", " << size.width();
        }
      }
    }
    window.reset();
  }
  for (auto* translator : QCoreApplication::instance()->findChildren<QTranslator*>()) {
    QCoreApplication::removeTranslator(translator);
    delete translator;
  }
  installTranslations(QStringLiteral("en"));
}

TEST_F(WindowTest, EveryControlHasANameARoleAndAValueAndTabReachesIt) {
  make();
  fill();
  window->activateWindow();
  for (int page = 0; page < window->pageCount(); ++page) {
    window->showPage(page);
    QTest::qWait(100);
    std::set<QWidget*> wanted;
    for (QWidget* widget : visible()) {
      const bool isInside = qobject_cast<QAbstractSpinBox*>(widget->parentWidget()) ||
                            qobject_cast<QComboBox*>(widget->parentWidget());
      if (!(widget->focusPolicy() & Qt::TabFocus) || !widget->isEnabled() || isInside) continue;
      wanted.insert(widget);
      QAccessibleInterface* face = QAccessible::queryAccessibleInterface(widget);
      const std::string what =
          std::string(widget->metaObject()->className()) + " on " + window->pageName(page).toStdString();
      ASSERT_TRUE(face) << what;
      EXPECT_FALSE(face->text(QAccessible::Name).isEmpty()) << what;
      EXPECT_NE(face->role(), QAccessible::NoRole) << what;
      const bool hasValue = qobject_cast<QAbstractSlider*>(widget) || qobject_cast<QAbstractSpinBox*>(widget);
      EXPECT_TRUE(!hasValue || face->valueInterface()) << what;
    }
    std::set<QWidget*> reached;
    QWidget* start = *wanted.begin();
    start->setFocus();
    // A text with links has a stop at each of them.
    constexpr int kMostStops = 500;
    for (int i = 0; i < kMostStops && QApplication::focusWidget(); ++i) {
      reached.insert(QApplication::focusWidget());
      QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    for (QWidget* widget : wanted) {
      if (qobject_cast<QAbstractButton*>(widget) && qobject_cast<QAbstractButton*>(widget)->group())
        continue;  // by arrows
      EXPECT_TRUE(reached.contains(widget))
          << widget->metaObject()->className() << " \"" << qPrintable(widget->accessibleName()) << "\" on "
          << qPrintable(window->pageName(page));
    }
  }
}

TEST_F(WindowTest, AnAppIsPutOnADeviceOfItsOwnByItsRoute) {
  make();
  ControlJSON devices = {{"order", {"usb", "track"}}};
  devices["devices"]["usb"] = {{"id", "usb"}, {"name", "USB Headset"}, {"outputs", 2}};
  devices["devices"]["track"] = {{"id", "track"}, {"name", "Sonmere Track 1"}, {"outputs", 2}, {"own", true}};
  service.tell("devices", devices);
  service.tell("apps", apps(2));
  const auto offered = [this](const QString& text) {
    for (auto* button : window->findChildren<RouteButton*>()) {
      emit button->menu()->aboutToShow();
      for (QAction* action : button->menu()->actions())
        if (action->text() == text) return action;
    }
    return static_cast<QAction*>(nullptr);
  };
  ASSERT_TRUE(waits([&] { return offered(QStringLiteral("USB Headset")) != nullptr; }));
  EXPECT_EQ(offered(QStringLiteral("Sonmere Track 1")), nullptr) << "the program's own";
  offered(QStringLiteral("USB Headset"))->trigger();
  EXPECT_TRUE(waits([this] {
    return service.requests.back()["method"] == "output" &&
           service.requests.back()["params"] == ControlJSON{{"app", "org.app0"}, {"device", "usb"}};
  }));
}

TEST_F(WindowTest, HeadphonesShowAndChooseWhatIsHeardOnTheMonitor) {
  make();
  service.tell("apps", routed(apps(4)));
  service.tell("monitor", monitor());
  const auto named = [this](const char* name) {
    for (auto* button : window->findChildren<QToolButton*>())
      if (button->accessibleName() == QLatin1String(name)) return button;
    return static_cast<QToolButton*>(nullptr);
  };
  ASSERT_TRUE(waits([&] {
    const auto* app = named("Hear App 0 on the monitor");
    return app && app->isChecked();
  }));
  EXPECT_TRUE(named("Hear App 1 on the monitor")->isHidden()) << "it is heard by itself";
  EXPECT_TRUE(named("Hear Track 2 on the monitor")->isChecked());
  EXPECT_FALSE(named("Hear Track 1 on the monitor")->isChecked());
  const auto lastIs = [this](const ControlJSON& method, const ControlJSON& params) {
    return waits([&] {
      return service.requests.back()["method"] == method && service.requests.back()["params"] == params;
    });
  };
  QTest::mouseClick(named("Hear App 0 on the monitor"), Qt::LeftButton);
  EXPECT_TRUE(lastIs("monitor.app", {{"app", "org.app0"}, {"enabled", false}}));
  named("Hear Track 1 on the monitor")->click();
  EXPECT_TRUE(lastIs("monitor.bus", {{"bus", 2}, {"enabled", true}}));
  for (auto* box : window->findChildren<QComboBox*>()) {
    if (box->accessibleName() != QStringLiteral("Device that the monitor plays on")) continue;
    EXPECT_EQ(box->currentText(), QStringLiteral("USB Headset"));
    emit box->activated(0);
    EXPECT_TRUE(lastIs("monitor.select", {{"device", "headset"}})) << "that of the entry that is shown";
    box->setCurrentIndex(0);
    emit box->activated(0);
    EXPECT_TRUE(lastIs("monitor.follow", ControlJSON::object()));
  }
}

TEST_F(WindowTest, FiveHundredAppsComeAndGoAndTheListIsRightAfterwards) {
  make();
  std::mt19937 random(3);
  for (int round = 0; round < 30; ++round) {
    service.tell("apps", apps(0));
    service.tell("apps", apps(std::uniform_int_distribution(0, 500)(random)));
    QTest::qWait(1);
  }
  ControlJSON last = apps(500);
  service.tell("apps", last);
  ASSERT_TRUE(waits([this] { return window->findChildren<AppRow*>().size() == 500; }));
  service.tell("apps", {{"order", {"org.app7"}}});
  ASSERT_TRUE(waits([this] { return window->findChildren<AppRow*>().size() == 1; }));
  EXPECT_EQ(window->findChild<AppRow*>()->id(), QStringLiteral("org.app7"));
}

TEST_F(WindowTest, AServiceThatIsKilledOrTalksNonsenseIsOutlived) {
  make();
  std::mt19937 random(9);
  const QByteArray pieces[] = {
      "{",
      "}",
      "[",
      "null",
      "\"",
      "\\u0000",
      "\n",
      "1e999",
      "{\"method\":\"changed\",\"params\":{\"topic\":\"apps\",\"from\":1,\"version\":2,\"patch\":",
      "{\"order\":[null,{},[[]]],\"apps\":[]}",
      "}}\n",
      "\xff\xfe",
      "{\"method\":\"meters\",\"params\":{\"apps\":{\"a\":{\"levelDb\":\"x\"}},\"spectrum\":{\"bandsDb\":["
      "null,\"a\",{}]}}}\n"};
  for (int i = 0; i < 50; ++i) {
    for (int piece = 0; piece < 20; ++piece) {
      service.sayRaw(pieces[std::uniform_int_distribution<std::size_t>(0, std::size(pieces) - 1)(random)]);
    }
    QTest::qWait(1);
    service.hangUp();
    ASSERT_TRUE(waits([this] { return models->link().state() != ServiceLink::State::connected; })) << i;
    EXPECT_FALSE(window->findChild<AppRow*>() && window->findChild<AppRow*>()->isEnabled());
    ASSERT_TRUE(waits([this] { return models->link().state() == ServiceLink::State::connected; })) << i;
  }
  service.tell("apps", apps(2));
  EXPECT_TRUE(waits([this] { return window->findChildren<AppRow*>().size() == 2; }));
}

}  // namespace
}  // namespace sonmere
