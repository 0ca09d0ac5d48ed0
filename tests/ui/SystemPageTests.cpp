#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <algorithm>

#include "FakeService.h"
#include "ui/model/Models.h"
#include "ui/pages/SystemPage.h"
#include "ui/widgets/CombinedInputCard.h"
#include "ui/widgets/DAWCard.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/MixAppRow.h"
#include "ui/widgets/MixCard.h"
#include "ui/widgets/SystemAudioCard.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

struct SystemPageTest : testing::Test {
  SystemPageTest() {
    page.resize(1040, 720);
    page.show();
    models.link().start();
    EXPECT_TRUE(waits([this] { return models.link().state() == ServiceLink::State::connected; }));
  }
  static bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  template <class Widget>
  static Widget* labelled(const QWidget* in, const QString& text) {
    const auto all = in->findChildren<Widget*>();
    const auto found = std::ranges::find_if(
        all, [&](const Widget* each) { return each->text() == text || each->accessibleName() == text; });
    EXPECT_NE(found, all.end()) << qPrintable(text);
    return found == all.end() ? nullptr : *found;
  }
  bool says(const QWidget* in, const QString& part) const {
    return std::ranges::any_of(in->findChildren<QLabel*>(), [&](const QLabel* label) {
      return label->isVisibleTo(&page) && label->text().contains(part);
    });
  }
  // Whether it is what was asked for last, once it is there.
  bool asked(const char* method, const ControlJSON& params) {
    return waits([&] {
      return std::ranges::any_of(service.requests, [&](const ControlJSON& each) {
        return each["method"] == method && each["params"] == params;
      });
    });
  }
  static ControlJSON system() {
    ControlJSON value{{"order", {"usb", "hdmi"}}};
    value["wishes"] = {{"enabled", true}, {"following", false}, {"output", "usb"}};
    value["facts"] = {{"whole", true}, {"outputName", "USB Headset"}, {"endedByUpdate", false}};
    value["devices"]["usb"] = {{"id", "usb"}, {"name", "USB Headset"}, {"chosen", true}};
    value["devices"]["hdmi"] = {{"id", "hdmi"}, {"name", "Screen"}, {"chosen", false}};
    return value;
  }
  static ControlJSON mix() {
    ControlJSON value{{"order", {"game"}}};
    value["wishes"] = {{"enabled", true},
                       {"audition", false},
                       {"hearsTracks", true},
                       {"catchAll", {{"enabled", true}, {"running", true}, {"volume", 0.5}}}};
    value["facts"] = {{"forbidden", false}, {"heals", 0}};
    value["apps"]["game"] = {
        {"id", "game"}, {"name", "Game"}, {"hear", 0.25}, {"stream", 0.5}, {"linked", false}};
    for (int track = 1; track <= 8; ++track)
      value["tracks"][std::to_string(track)] = {{"track", track}, {"volume", 1.0}, {"muted", track == 3}};
    return value;
  }

  QTemporaryDir root;
  FakeService service{root.filePath(QStringLiteral("control.sock"))};
  Models models{root.path().toStdString()};
  SystemPage page{{models.system(), models.mix(), models.daw(), models.combined(), models.monitor(),
                   models.buses(), models.status()}};
};

TEST_F(SystemPageTest, SystemAudioIsShownAndChangedAndSaysHowItFares) {
  const auto* card = page.findChild<SystemAudioCard*>();
  auto* enabled = labelled<QPushButton>(card, QStringLiteral("System audio"));
  service.tell("system", system());
  ASSERT_TRUE(waits([&] { return enabled->isChecked(); }));
  auto* device = card->findChild<QComboBox*>();
  EXPECT_EQ(device->currentText(), QStringLiteral("USB Headset"));
  EXPECT_TRUE(says(card, QStringLiteral("heard on USB Headset")));
  device->setCurrentIndex(device->findText(QStringLiteral("Screen")));
  emit device->activated(device->currentIndex());
  EXPECT_TRUE(asked("system.select", {{"device", "hdmi"}}));
  device->setCurrentIndex(0);
  emit device->activated(0);
  EXPECT_TRUE(asked("system.follow", {{"following", true}}));
  labelled<QPushButton>(card, QStringLiteral("Make it anew"))->click();
  EXPECT_TRUE(asked("system.reset", ControlJSON::object()));

  ControlJSON routes{{"order", {"systemAudio"}}};
  routes["routes"]["systemAudio"] = {{"id", "systemAudio"},
                                     {"verdict", "broken"},
                                     {"detail", "Bridge dropped from output — rebuilding"},
                                     {"advice", "wait a moment"}};
  service.tell("routes", routes);
  EXPECT_TRUE(waits([&] { return says(card, QStringLiteral("Bridge dropped from output — rebuilding")); }));
  EXPECT_TRUE(says(card, QStringLiteral("wait a moment")));
  service.tell("system", {{"devices", {{"usb", nullptr}}}, {"order", {"hdmi"}}});
  EXPECT_TRUE(waits([&] { return device->currentText() == QStringLiteral("USB Headset (not connected)"); }));
  service.tell("system", {{"wishes", {{"enabled", false}}}, {"facts", {{"endedByUpdate", true}}}});
  EXPECT_TRUE(waits([&] { return !enabled->isChecked() && says(card, QStringLiteral("after an update")); }));
  service.errors["system.enable"] = "No output device selected";
  enabled->click();
  EXPECT_TRUE(waits([&] { return says(card, QStringLiteral("No output device selected")); }));
  EXPECT_FALSE(enabled->isChecked()) << "a refusal moves the control back";
}

TEST_F(SystemPageTest, MixModeHasItsLevelsAndStepsBackFromSystemAudio) {
  const auto* card = page.findChild<MixCard*>();
  service.tell("mix", mix());
  ASSERT_TRUE(waits([&] { return card->findChildren<MixAppRow*>().size() == 1; }));
  const auto slider = [&](const char* name) {
    const auto all = card->findChildren<GainSlider*>();
    const auto found = std::ranges::find(all, QLatin1String(name), &QWidget::accessibleName);
    EXPECT_NE(found, all.end()) << name;
    return *found;
  };
  EXPECT_FLOAT_EQ(slider("How loud you hear Game")->gain(), 0.25f);
  EXPECT_FLOAT_EQ(slider("How loud Game is recorded")->gain(), 0.5f);
  QTest::keyClick(slider("How loud you hear Game"), Qt::Key_Home);
  EXPECT_TRUE(asked("mix.hear", {{"app", "game"}, {"volume", 1.0}}));
  QTest::keyClick(slider("How loud Game is recorded"), Qt::Key_End);
  EXPECT_TRUE(asked("mix.stream", {{"app", "game"}, {"volume", 0.0}}));
  labelled<QToolButton>(card, QStringLiteral("You hear Game as loud as it is recorded"))->click();
  EXPECT_TRUE(asked("mix.link", {{"app", "game"}, {"linked", true}}));
  auto* typed = labelled<QLineEdit>(card, QStringLiteral("How loud you hear Track 2, as text"));
  typed->setText(QStringLiteral("-6 dB"));
  typed->setModified(true);
  QTest::keyClick(typed, Qt::Key_Return);
  EXPECT_TRUE(waits([this] { return service.requests.back()["method"] == "mix.trackVolume"; }));
  EXPECT_NEAR(service.requests.back()["params"]["volume"].get<double>(), 0.501, 0.001);
  auto* third = labelled<QToolButton>(card, QStringLiteral("Silence Track 3 in what you hear"));
  EXPECT_TRUE(third->isChecked());
  third->click();
  EXPECT_TRUE(asked("mix.track", {{"track", 3}, {"muted", false}}));
  labelled<QPushButton>(card, QStringLiteral("Audition recording"))->click();
  EXPECT_TRUE(asked("mix.audition", {{"enabled", true}}));
  service.tell("mix", {{"wishes", {{"hearsTracks", false}, {"catchAll", {{"running", false}}}}}});
  EXPECT_TRUE(waits([&] { return !third->isVisibleTo(&page); }));
  EXPECT_TRUE(says(card, QStringLiteral("could not be captured")));
  auto* rest = labelled<QCheckBox>(card, QStringLiteral("Include system audio"));
  service.tell("system", system());
  EXPECT_TRUE(waits([&] { return !rest->isEnabled(); }));
  EXPECT_TRUE(says(card, QStringLiteral("System Audio Passthrough must be off for this toggle to work.")));
  service.tell("mix",
               {{"facts", {{"forbidden", true}}}, {"wishes", {{"enabled", false}}}, {"apps", nullptr}});
  auto* enabled = labelled<QPushButton>(card, QStringLiteral("Mix Mode"));
  EXPECT_TRUE(waits([&] { return !enabled->isEnabled() && card->findChildren<MixAppRow*>().empty(); }));
  EXPECT_TRUE(says(card, QStringLiteral("sonmere settings reset sonmere.mixMode.disabled")));
  EXPECT_TRUE(says(card, QStringLiteral("Nothing is routed.")));
}

TEST_F(SystemPageTest, TheTracksAreOneDeviceAndInputsAreCombined) {
  const auto* daw = page.findChild<DAWCard*>();
  auto* enabled = labelled<QPushButton>(daw, QStringLiteral("Multi-track device"));
  enabled->click();
  EXPECT_TRUE(asked("daw.enable", {{"enabled", true}}));
  ControlJSON value;
  value["wishes"] = {{"enabled", true}};
  value["facts"] = {{"present", true}, {"name", "Sonmere Multi-Track"}, {"inputs", 16}, {"outputs", 16}};
  service.tell("daw", value);
  EXPECT_TRUE(waits([&] { return says(daw, QStringLiteral("16 channels in and 16 out")); }));

  const auto* card = page.findChild<CombinedInputCard*>();
  const auto* list = card->findChild<QListWidget*>();
  ControlJSON devices{{"order", {"a", "out", "b"}}};
  devices["devices"]["a"] = {{"id", "a"}, {"name", "Left mic"}, {"inputs", 1}};
  devices["devices"]["b"] = {{"id", "b"}, {"name", "Right mic"}, {"inputs", 2}};
  devices["devices"]["out"] = {{"id", "out"}, {"name", "Speakers"}, {"outputs", 2}};
  service.tell("devices", devices);
  ASSERT_TRUE(waits([&] { return list->count() == 2; })) << "what can be heard";
  list->item(0)->setCheckState(Qt::Checked);
  service.errors["combine"] = "Pick at least two devices.";
  labelled<QPushButton>(card, QStringLiteral("Combine"))->click();
  EXPECT_TRUE(waits([&] { return says(card, QStringLiteral("Pick at least two devices.")); }));
  EXPECT_FALSE(says(daw, QStringLiteral("Pick at least two devices.")))
      << "it is said where it was asked for";
  service.errors.clear();
  devices["devices"]["b"]["name"] = "Other mic";
  service.tell("devices", devices);
  ASSERT_TRUE(waits([&] { return list->item(1)->text() == QStringLiteral("Other mic"); }));
  EXPECT_EQ(list->item(0)->checkState(), Qt::Checked) << "what was ticked stays so";
  list->item(1)->setCheckState(Qt::Checked);
  labelled<QLineEdit>(card, QStringLiteral("Name of the combined device"))->setText(QStringLiteral("Stage"));
  labelled<QPushButton>(card, QStringLiteral("Combine"))->click();
  EXPECT_TRUE(asked("combine", {{"devices", {"a", "b"}}, {"name", "Stage"}}));
  const ControlJSON members = {{{"id", "a"}, {"name", "Left mic"}, {"channels", 1}, {"first", 1}},
                               {{"id", "b"}, {"name", "Other mic"}, {"channels", 0}, {"first", 2}}};
  service.tell("daw",
               {{"combined", {{"device", "c"}, {"name", "Stage"}, {"present", true}, {"members", members}}}});
  EXPECT_TRUE(
      waits([&] { return says(card, QStringLiteral("Left mic: channel 1; Other mic: not connected")); }));
  labelled<QPushButton>(card, QStringLiteral("Separate"))->click();
  EXPECT_TRUE(asked("combine.off", ControlJSON::object()));
}

}  // namespace
}  // namespace sonmere
