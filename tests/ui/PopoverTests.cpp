#include <gtest/gtest.h>

#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include "FakeService.h"
#include "ui/model/AppsModel.h"
#include "ui/model/RecordingModel.h"
#include "ui/tray/Popover.h"
#include "ui/widgets/GainSlider.h"

namespace sonmere {
namespace {

TEST(Popover, ShowsWhatPlaysAndAsksForChanges) {
  QTemporaryDir folder;
  FakeService service(folder.filePath(QStringLiteral("control.sock")));
  ServiceLink link(folder.path().toStdString(), {Topic::apps, Topic::mixer, Topic::recording}, 0);
  AppsModel apps(link);
  RecordingModel recording(link);
  Popover popover(apps, recording);
  link.start();
  ASSERT_TRUE(QTest::qWaitFor([&] { return link.state() == ServiceLink::State::connected; }));
  ControlJSON value = {{"order", {"music", "quiet", "secret"}}};
  for (const char* id : {"music", "quiet", "secret"}) {
    value["apps"][id] = {{"facts", {{"name", id}, {"running", std::string(id) != "quiet"}}},
                         {"wishes", {{"volume", 0.5}, {"hidden", std::string(id) == "secret"}}}};
  }
  service.tell("apps", value);
  ASSERT_TRUE(QTest::qWaitFor([&] { return popover.findChildren<GainSlider*>().size() == 2; }))
      << "the one that plays, and all";
  popover.showAt({10, 10});
  auto* slider = popover.findChildren<GainSlider*>().last();
  for (auto* each : popover.findChildren<GainSlider*>()) {
    if (each->accessibleName().contains(QStringLiteral("music"))) slider = each;
  }
  EXPECT_FLOAT_EQ(slider->gain(), 0.5f);
  QTest::keyClick(slider, Qt::Key_Home);
  ASSERT_TRUE(QTest::qWaitFor([&] { return service.requests.back()["method"] == "volume"; }));
  EXPECT_EQ(service.requests.back()["params"]["app"], "music");
  QSignalSpy record(&popover, &Popover::recordWanted);
  popover.findChildren<QPushButton*>().first()->click();
  EXPECT_EQ(record.count(), 1);
  ControlJSON take;
  take["facts"]["running"]["0"]["path"] = "/x.wav";
  service.tell("recording", take);
  EXPECT_TRUE(QTest::qWaitFor(
      [&] { return popover.findChildren<QPushButton*>().first()->text().startsWith("Stop"); }));
  service.tell("apps", {{"apps", {{"music", {{"facts", {{"running", false}}}}}}}});
  EXPECT_TRUE(QTest::qWaitFor([&] { return popover.findChildren<GainSlider*>().size() == 1; }))
      << "it plays no more";
}

}  // namespace
}  // namespace sonmere
