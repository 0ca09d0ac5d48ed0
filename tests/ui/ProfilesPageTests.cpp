#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <algorithm>

#include "FakeService.h"
#include "app/PlatformFolders.h"
#include "ui/model/Models.h"
#include "ui/pages/ProfilesPage.h"
#include "ui/widgets/PresetsCard.h"
#include "ui/widgets/ProfilesCard.h"
#include "ui/widgets/RuleForm.h"
#include "ui/widgets/RulesCard.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

struct ProfilesPageTest : testing::Test {
  ProfilesPageTest() {
    qputenv("XDG_DATA_HOME", root.path().toUtf8());
    page.resize(1040, 720);
    page.show();
    models.link().start();
    EXPECT_TRUE(waits([this] { return models.link().state() == ServiceLink::State::connected; }));
    ControlJSON apps{{"order", {"music"}}};
    apps["apps"]["music"] = {{"facts", {{"name", "Music"}}}, {"wishes", {{"volume", 1.0}}}};
    service.tell("apps", apps);
    ControlJSON routing{{"order", {"p1"}}};
    routing["profiles"]["p1"] = {{"id", "p1"}, {"name", "Call"}, {"apps", {"music"}}};
    service.tell("routing", routing);
    EXPECT_TRUE(waits([this] { return named<QPushButton>("Apply Call") != nullptr; }));
  }
  ~ProfilesPageTest() override { qunsetenv("XDG_DATA_HOME"); }
  static bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  template <class Widget>
  Widget* named(const char* name) const {
    for (auto* each : page.findChildren<Widget*>())
      if (each->accessibleName() == QLatin1String(name) || each->property("text") == QLatin1String(name))
        return each;
    return nullptr;
  }
  bool says(const QString& part) const {
    return std::ranges::any_of(page.findChildren<QLabel*>(), [&](const QLabel* label) {
      return label->isVisibleTo(&page) && label->text().contains(part);
    });
  }
  bool asked(const char* method, const ControlJSON& params) {
    return waits([&] {
      return std::ranges::any_of(service.requests, [&](const ControlJSON& each) {
        return each["method"] == method && each["params"] == params;
      });
    });
  }

  QTemporaryDir root;
  FakeService service{root.filePath(QStringLiteral("control.sock"))};
  Models models{root.path().toStdString()};
  ProfilesPage page{{models.rules(), models.profiles(), models.apps(), models.buses(), models.status()},
                    models.presets()};
};

TEST_F(ProfilesPageTest, ProfilesAreSavedAppliedAndDeletedAndFollowTheService) {
  named<QPushButton>("Apply Call")->click();
  EXPECT_TRUE(asked("profile.apply", {{"name", "Call"}}));
  auto* name = named<QLineEdit>("Name of the new profile");
  name->setText(QStringLiteral(" Stream "));
  service.errors["profile.save"] = "there is a profile \"Stream\" already";
  QTest::keyClick(name, Qt::Key_Return);
  EXPECT_TRUE(asked("profile.save", {{"name", "Stream"}}));
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("there is a profile \"Stream\" already")); }));
  EXPECT_EQ(name->text(), QStringLiteral(" Stream ")) << "to be mended";
  named<QPushButton>("Delete Call")->click();
  EXPECT_TRUE(asked("profile.delete", {{"name", "Call"}}));
  service.tell("routing", {{"order", ControlJSON::array()}, {"profiles", nullptr}});
  EXPECT_TRUE(waits([&] { return !named<QPushButton>("Apply Call"); }));
  EXPECT_TRUE(says(QStringLiteral("No saved profiles. Enable apps and save a profile for quick switching.")));
}

TEST_F(ProfilesPageTest, ARuleIsMadeOfChoicesAndToldInWords) {
  auto* reason = named<QComboBox>("What the rule waits for");
  auto* act = named<QComboBox>("What the rule does");
  named<QPushButton>("Add the rule")->click();
  EXPECT_TRUE(asked("rule.add", {{"when", {{"kind", "app"}, {"subject", "music"}}},
                                 {"act", {{"kind", "profile"}, {"target", "Call"}}}}));
  reason->setCurrentIndex(1);
  named<QComboBox>("Which")->setEditText(QStringLiteral("Headset"));
  act->setCurrentIndex(1);
  named<QComboBox>("With what")->setEditText(QStringLiteral("Music"));
  auto* bus = named<QComboBox>("Where it is routed");
  bus->setCurrentIndex(bus->findText(QStringLiteral("Track 1")));
  named<QPushButton>("Add the rule")->click();
  EXPECT_TRUE(asked("rule.add", {{"when", {{"kind", "device"}, {"subject", "Headset"}}},
                                 {"act", {{"kind", "route"}, {"target", "music"}, {"bus", 2}}}}));
  reason->setCurrentIndex(2);
  act->setCurrentIndex(4);
  named<QPushButton>("Add the rule")->click();
  EXPECT_TRUE(asked("rule.add", {{"when", {{"kind", "mic"}}},
                                 {"act", {{"kind", "mute"}, {"target", "music"}, {"muted", false}}}}));
  named<QComboBox>("With what")->setEditText(QString());
  service.requests.clear();
  named<QPushButton>("Add the rule")->click();
  EXPECT_TRUE(says(QStringLiteral("Say what the rule waits for")));
  EXPECT_TRUE(service.requests.empty());

  ControlJSON rules{{"order", {7}}};
  rules["rules"]["7"] = {{"rule", 7},
                         {"enabled", true},
                         {"active", false},
                         {"when", {{"kind", "mic"}}},
                         {"act", {{"kind", "volume"}, {"target", "music"}, {"volume", 0.3}}}};
  service.tell("rules", rules);
  const char* const words = "When the microphone is on: set the volume of Music to 30 %";
  ASSERT_TRUE(waits([&] { return says(QLatin1String(words)); }));
  EXPECT_TRUE(says(QStringLiteral("waits")));
  service.tell("rules", {{"rules", {{"7", {{"active", true}}}}}});
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("in force")); }));
  service.tell("rules", {{"rules", {{"7", {{"problem", "there is no app \"music\""}}}}}});
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("there is no app \"music\"")); }));
  named<QCheckBox>(words)->click();
  EXPECT_TRUE(asked("rule.enable", {{"rule", 7}, {"enabled", false}}));
  page.findChild<RulesCard*>()->findChild<QToolButton*>()->click();
  EXPECT_TRUE(asked("rule.remove", {{"rule", 7}}));
  service.tell("rules", {{"order", ControlJSON::array()}});
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("There are no rules.")); }));
}

TEST_F(ProfilesPageTest, PresetsAreSavedLoadedAndFollowTheirFolder) {
  auto* list = page.findChild<PresetsCard*>()->findChild<QListWidget*>();
  auto* scope = page.findChild<PresetsCard*>()->findChild<QComboBox*>();
  auto* name = named<QLineEdit>("Name of the new preset");
  service.results["app"] = {{"equaliser", {{"enabled", true}, {"highPassHz", 120}}}};
  scope->setCurrentIndex(scope->findText(QStringLiteral("Music")));
  name->setText(QStringLiteral("Bright"));
  named<QPushButton>("Save as a preset")->click();
  ASSERT_TRUE(waits([&] { return list->count() == 1; }));
  EXPECT_EQ(list->item(0)->text(), QStringLiteral("Bright: equaliser"));
  named<QPushButton>("Save as a preset")->click();
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("Bright.json exists")); })) << "nothing is written over";
  name->setText(QStringLiteral("../Bright"));
  named<QPushButton>("Save as a preset")->click();
  EXPECT_TRUE(waits([&] { return says(QStringLiteral("is no name for a preset")); }));
  list->setCurrentRow(0);
  scope->setCurrentIndex(scope->findText(QStringLiteral("The microphone")));
  named<QPushButton>("Load")->click();
  EXPECT_TRUE(waits([&] { return service.requests.back()["method"] == "mic.equaliser"; }));
  EXPECT_EQ(service.requests.back()["params"]["equaliser"]["highPassHz"], 120);

  service.results["routing.apps"] = {{"apps", {{{"app", "music"}, {"bus", 2}}}}};
  scope->setCurrentIndex(scope->findText(QStringLiteral("All routes")));
  name->setText(QStringLiteral("Evening"));
  QTest::keyClick(name, Qt::Key_Return);
  ASSERT_TRUE(waits([&] { return list->count() == 2; }));
  list->setCurrentRow(1);
  named<QPushButton>("Load")->click();
  EXPECT_TRUE(asked("profile.apply", {{"name", "Evening"}}));

  QFile broken(QString::fromStdString(userPresetsFolder()) + QStringLiteral("/Broken.json"));
  ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
  broken.write("{");
  broken.close();
  ASSERT_TRUE(waits([&] { return list->count() == 3; })) << "what somebody else puts there is shown";
  EXPECT_FALSE(list->item(1)->toolTip().isEmpty()) << "why it can't be used";
  QFile::remove(broken.fileName());
  EXPECT_TRUE(waits([&] { return list->count() == 2; }));
}

}  // namespace
}  // namespace sonmere
