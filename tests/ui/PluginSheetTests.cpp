#include <gtest/gtest.h>

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSignalSpy>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <algorithm>
#include <vector>

#include "FakeService.h"
#include "ui/model/PluginsModel.h"
#include "ui/sheets/PluginSheet.h"
#include "ui/widgets/PluginControlField.h"
#include "ui/widgets/PluginRow.h"

namespace sonmere {
namespace {

constexpr int kPatience = 15000;  // ms

ControlJSON plugin(int place, const char* uri, const char* name) {
  return {{"position", place},       {"plugin", uri},      {"name", name},   {"manufacturer", "Sonmere"},
          {"bypassed", false},       {"problem", nullptr}, {"latencyMs", 0}, {"autoBypassed", false},
          {"values", {{"gain", -6}}}};
}

ControlJSON chain(const std::vector<ControlJSON>& plugins) {
  ControlJSON value{{"order", {"mic"}}, {"facts", {{"error", nullptr}}}};
  value["chains"]["mic"] = {{"scope", "mic"},   {"state", "running"},  {"trusted", false},
                            {"latencyMs", 5.3}, {"sampleRate", 48000}, {"plugins", plugins}};
  return value;
}

struct PluginSheetTest : testing::Test {
  PluginSheetTest() {
    service.results["plugins.available"] = {
        {{"plugin", "urn:a"}, {"name", "Warm gain"}, {"manufacturer", "Sonmere"}, {"obstacle", nullptr}},
        {{"plugin", "urn:b"}, {"name", "Echo"}, {"manufacturer", "Sonmere"}, {"obstacle", nullptr}},
        {{"plugin", "urn:c"}, {"name", "Echo that crashes"}, {"obstacle", "it crashes"}}};
    service.results["plugin.info"] = {
        {"presets", {{{"preset", "urn:p"}, {"name", "Half"}}}},
        {"controls",
         {{{"symbol", "gain"}, {"name", "Gain"}, {"unit", "dB"}, {"minimum", -90}, {"maximum", 24}},
          {{"symbol", "cut"},
           {"name", "Cut"},
           {"unit", "Hz"},
           {"minimum", 20},
           {"maximum", 20000},
           {"initial", 20},
           {"logarithmic", true}},
          {{"symbol", "soft"}, {"name", "Soft"}, {"toggle", true}},
          {{"symbol", "kind"},
           {"name", "Kind"},
           {"integer", true},
           {"maximum", 1},
           {"points", {{{"label", "low"}, {"value", 0}}, {{"label", "high"}, {"value", 1}}}}}}}};
    window.resize(1040, 720);
    window.show();
    link.start();
    EXPECT_TRUE(waits([this] { return link.state() == ServiceLink::State::connected; }));
    sheet = new PluginSheet(model, QStringLiteral("mic"), QStringLiteral("the microphone"), &window);
    sheet->open();
    EXPECT_EQ(list().count(), 1) << "that they are being read";
    EXPECT_TRUE(waits([this] { return list().count() == 3; }));
  }
  void show(const std::vector<ControlJSON>& plugins) {
    service.tell("plugins", chain(plugins));
    const auto count = static_cast<qsizetype>(plugins.size());
    EXPECT_TRUE(waits([&] { return sheet->findChildren<PluginRow*>().size() == count; }));
  }
  static bool waits(const std::function<bool()>& condition) { return QTest::qWaitFor(condition, kPatience); }
  QListWidget& list() const { return *sheet->findChild<QListWidget*>(); }
  template <class Widget>
  Widget* named(const QString& name) const {
    for (auto* each : sheet->findChildren<Widget*>()) {
      if (each->accessibleName() == name) return each;
    }
    return nullptr;
  }
  // The parameters of the last call of `method`, once it is there.
  ControlJSON asked(const char* method) {
    const auto find = [&] {
      return std::find_if(service.requests.rbegin(), service.requests.rend(),
                          [&](const ControlJSON& request) { return request["method"] == method; });
    };
    EXPECT_TRUE(waits([&] { return find() != service.requests.rend(); })) << method;
    return find() == service.requests.rend() ? ControlJSON() : (*find())["params"];
  }

  QTemporaryDir root;
  FakeService service{root.filePath(QStringLiteral("control.sock"))};
  ServiceLink link{root.path().toStdString(), {Topic::plugins}, 0};
  PluginsModel model{link};
  QWidget window;
  PluginSheet* sheet = nullptr;
};

TEST_F(PluginSheetTest, APluginIsFoundByWordsAndOneThatCantBeUsedIsNotTaken) {
  auto* search = sheet->findChild<QLineEdit*>();
  search->setText(QStringLiteral("sonmere ECHO"));
  ASSERT_EQ(list().count(), 1);
  QTest::keyClick(search, Qt::Key_Return);
  EXPECT_EQ(asked("plugin.add"), (ControlJSON{{"scope", "mic"}, {"plugin", "urn:b"}}));
  EXPECT_TRUE(sheet->isVisible()) << "Return is the search's";
  service.requests.clear();
  search->setText(QStringLiteral("crashes"));
  ASSERT_EQ(list().count(), 1);
  EXPECT_EQ(list().item(0)->toolTip(), QStringLiteral("it crashes"));
  QTest::keyClick(search, Qt::Key_Return);
  QTest::qWait(0);
  EXPECT_TRUE(service.requests.empty());
}

TEST_F(PluginSheetTest, AChainIsShownAndChanged) {
  show({plugin(1, "urn:a", "Warm gain"), plugin(2, "urn:b", "Echo")});
  EXPECT_TRUE(std::ranges::any_of(sheet->findChildren<QLabel*>(), [](const QLabel* label) {
    return label->text() == QStringLiteral("Running, 5.3 ms");
  }));
  named<QToolButton>(QStringLiteral("Echo on"))->click();
  EXPECT_EQ(asked("plugin.bypass"), (ControlJSON{{"scope", "mic"}, {"plugin", "2"}, {"bypassed", true}}));
  EXPECT_FALSE(named<QToolButton>(QStringLiteral("Move Echo down"))->isEnabled());
  QToolButton* const up = named<QToolButton>(QStringLiteral("Move Echo up"));
  up->setFocus();
  up->click();
  EXPECT_EQ(asked("plugin.move")["position"], 1);
  show({plugin(1, "urn:b", "Echo"), plugin(2, "urn:a", "Warm gain")});
  EXPECT_TRUE(waits([&] { return !up->isEnabled(); })) << "the row moved with its plug-in";
  named<QToolButton>(QStringLiteral("Remove Warm gain"))->click();
  EXPECT_EQ(asked("plugin.remove")["plugin"], "2");
  show({plugin(1, "urn:b", "Echo")});
  service.requests.clear();
  named<QToolButton>(QStringLiteral("Remove Echo"))->click();
  EXPECT_EQ(asked("plugin.remove")["plugin"], "1");
  sheet->findChild<QCheckBox*>()->click();
  EXPECT_EQ(asked("plugin.trust")["trusted"], true);
}

TEST_F(PluginSheetTest, ControlsHaveRangesUnitsAndNamesAndFollowTheService) {
  show({plugin(1, "urn:a", "Warm gain")});
  named<QToolButton>(QStringLiteral("Controls of Warm gain"))->click();
  ASSERT_TRUE(waits([this] { return named<QDoubleSpinBox>(QStringLiteral("Gain")) != nullptr; }));
  auto* gain = named<QDoubleSpinBox>(QStringLiteral("Gain"));
  EXPECT_EQ(gain->value(), -6);
  EXPECT_EQ(gain->suffix(), QStringLiteral(" dB"));
  EXPECT_EQ(gain->minimum(), -90);
  gain->setValue(-3.5);
  EXPECT_EQ(asked("plugin.set"),
            (ControlJSON{{"scope", "mic"}, {"plugin", "1"}, {"control", "gain"}, {"value", "-3.5"}}));
  service.requests.clear();
  ControlJSON other = plugin(1, "urn:a", "Warm gain");
  other["values"]["gain"] = 12;
  service.tell("plugins", chain({other}));
  EXPECT_TRUE(waits([&] { return gain->value() == 12; }));
  EXPECT_TRUE(service.requests.empty()) << "what is told is not asked for";
  // The middle of a logarithmic scale is the geometric one.
  named<QSlider>(QStringLiteral("Cut"))->setValue(500);
  EXPECT_NEAR(std::stod(asked("plugin.set")["value"].get<std::string>()), 632.5, 1);
  named<QCheckBox>(QStringLiteral("Soft"))->click();
  EXPECT_TRUE(waits([&] { return asked("plugin.set")["control"] == "soft"; }));
  EXPECT_EQ(asked("plugin.set")["value"], "1");
  auto* kind = named<QComboBox>(QStringLiteral("Kind"));
  EXPECT_EQ(kind->currentText(), QStringLiteral("low"));
  QTest::keyClick(kind, Qt::Key_Down);
  EXPECT_TRUE(waits([&] { return asked("plugin.set")["control"] == "kind"; }));
  emit named<QComboBox>(QStringLiteral("Preset of Warm gain"))->activated(0);
  EXPECT_TRUE(asked("plugin.preset").contains("preset"));
}

// The row that is left may have shown the one that went.
TEST_F(PluginSheetTest, OfTwoOfOneKindEachShowsItsOwnValues) {
  ControlJSON first = plugin(1, "urn:a", "Warm gain"), second = plugin(2, "urn:a", "Warm gain");
  first["values"] = {{"gain", -6}};
  second["values"] = ControlJSON::object();
  show({first, second});
  for (auto* row : sheet->findChildren<PluginRow*>()) row->openControls(true);
  const auto gains = [&] {
    std::vector<double> all;
    for (auto* field : sheet->findChildren<PluginControlField*>())
      if (field->symbol() == QStringLiteral("gain")) all.push_back(field->value());
    std::ranges::sort(all);
    return all;
  };
  ASSERT_TRUE(waits([&] { return gains() == std::vector<double>{-6, 0}; }));
  second["position"] = 1;
  show({second});
  EXPECT_TRUE(waits([&] { return gains() == std::vector<double>{0}; }));
}

TEST_F(PluginSheetTest, ARefusalAndWhatBefallsAPluginAreSaidAndEverythingHasAName) {
  ControlJSON broken = plugin(1, "urn:a", "Warm gain");
  broken["problem"] = "the file is gone";
  show({broken});
  EXPECT_TRUE(std::ranges::any_of(sheet->findChildren<QLabel*>(), [](const QLabel* label) {
    return label->text() == QStringLiteral("the file is gone");
  }));
  service.errors["plugin.trust"] = "it was refused";
  auto* trusted = sheet->findChild<QCheckBox*>();
  trusted->click();
  EXPECT_TRUE(waits([&] { return !trusted->isChecked(); })) << "a refusal moves the control back";
  EXPECT_TRUE(std::ranges::any_of(sheet->findChildren<QLabel*>(), [](const QLabel* label) {
    return label->isVisible() && label->text() == QStringLiteral("it was refused");
  }));
  for (const auto* widget : sheet->findChildren<QWidget*>()) {
    if (!widget->isVisible() || !(widget->focusPolicy() & Qt::TabFocus)) continue;
    const QAccessibleInterface* face = QAccessible::queryAccessibleInterface(const_cast<QWidget*>(widget));
    EXPECT_FALSE(face->text(QAccessible::Name).isEmpty()) << widget->metaObject()->className();
  }
  QTest::keyClick(sheet, Qt::Key_Escape);
  EXPECT_FALSE(sheet->isVisible());
}

}  // namespace
}  // namespace sonmere
