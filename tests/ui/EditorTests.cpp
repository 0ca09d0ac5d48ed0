#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>
#include <QWheelEvent>
#include <random>

#include "WavFile.h"
#include "ui/editor/EditorView.h"
#include "ui/editor/FileProject.h"
#include "ui/editor/RangeFields.h"
#include "ui/editor/SessionProject.h"
#include "ui/editor/Timeline.h"
#include "ui/editor/TimelineScale.h"
#include "ui/editor/WavePyramid.h"
#include "ui/sheets/ExportSheet.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kPatience = 10000;  // ms

TEST(WavePyramid, TellsTheExtremesOfAnyRangeAsABinByBinLookDoes) {
  std::mt19937 random(5);
  std::uniform_real_distribution<float> sample(-1, 1);
  auto envelope = std::make_shared<WaveformEnvelope>();
  envelope->channels.resize(2);
  envelope->binFrames = 10;
  envelope->totalFrames = 1'000'000;
  for (int i = 0; i < 100'000; ++i) {
    for (auto& channel : envelope->channels) {
      const float value = sample(random) * 0.5f;
      channel.push_back({std::min(value, 0.0f), std::max(value, 0.0f)});
    }
  }
  envelope->channels[1][77'777] = {-1, 1};
  const WavePyramid pyramid(envelope);
  const auto slow = [&](std::int64_t from, std::int64_t until) {
    WaveformBin all = sonmere::extremes(*envelope, 0, from, until);
    const WaveformBin other = sonmere::extremes(*envelope, 1, from, until);
    return WaveformBin{std::min(all.minValue, other.minValue), std::max(all.maxValue, other.maxValue)};
  };
  std::uniform_int_distribution<std::int64_t> place(0, 999'999);
  for (int i = 0; i < 2000; ++i) {
    std::int64_t from = place(random), until = place(random);
    if (from > until) std::swap(from, until);
    from -= from % 10;
    const WaveformBin fast = pyramid.extremes(from, until + 10), exact = slow(from, until);
    ASSERT_LE(fast.minValue, exact.minValue) << from << " " << until;
    ASSERT_GE(fast.maxValue, exact.maxValue) << from << " " << until;
    const std::int64_t wider = (until - from) / 4 + 10;
    const WaveformBin around =
        slow(std::max<std::int64_t>(0, from - wider), std::min<std::int64_t>(1'000'000, until + wider));
    ASSERT_GE(fast.minValue, around.minValue) << from << " " << until;
    ASSERT_LE(fast.maxValue, around.maxValue) << from << " " << until;
  }
  EXPECT_EQ(pyramid.extremes(777'770, 777'780), (WaveformBin{-1, 1}));
  EXPECT_EQ(pyramid.extremes(5'000'000, 6'000'000), (WaveformBin{0, 0})) << "beyond the file";
  EXPECT_EQ(WavePyramid(std::make_shared<WaveformEnvelope>()).extremes(0, 10), (WaveformBin{0, 0}));
}

TEST(TimelineScale, TicksStandAtWholeTimesAndGainsAreFoundAgain) {
  for (const double seconds : {0.01, 1.0, 7.0, 65.0, 3601.0, 86400.0}) {
    const TimelineScale scale{0, static_cast<std::int64_t>(seconds * 48000), 900};
    const auto ticks = scale.ticks(48000);
    const auto named = std::ranges::count_if(ticks, &TimelineScale::Tick::isNamed);
    EXPECT_GE(named, 2) << seconds;
    EXPECT_LE(named, 11) << seconds;
    EXPECT_EQ(scale.frameAt(scale.xOf(ticks.back().frame)), ticks.back().frame);
  }
  EXPECT_DOUBLE_EQ(TimelineScale::shareOfGain(1), 0.5);
  for (const double gain : {0.1, 0.5, 1.0, 2.0, 8.0}) {
    EXPECT_NEAR(TimelineScale::gainAtShare(TimelineScale::shareOfGain(gain)), gain, 1e-9);
  }
}

TEST(EditorView, KeysBearTheNamesThatTheSettingsHave) {
  const auto text = [](int key, Qt::KeyboardModifiers modifiers) {
    return shortcutText(QKeyEvent(QEvent::KeyPress, key, modifiers)).toStdString();
  };
  EXPECT_EQ(text(Qt::Key_Space, {}), "space");
  EXPECT_EQ(text(Qt::Key_Left, Qt::ShiftModifier), "shift+left");
  EXPECT_EQ(text(Qt::Key_I, {}), "i");
  EXPECT_EQ(text(Qt::Key_K, Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier),
            "control+alt+shift+k");
  EXPECT_EQ(text(Qt::Key_Shift, Qt::ShiftModifier), "");
}

struct EditorViewTest : testing::Test {
  EditorViewTest() {
    writeTone(path("a.wav"), 10);
    writeTone(path("b.wav"), 4);
  }
  QString path(const char* name) const { return folder.filePath(QLatin1String(name)); }
  std::unique_ptr<FileProject> file() {
    auto engine = EditorEngine::open(bench.engines(), path("a.wav").toStdString());
    EXPECT_TRUE(engine);
    return std::make_unique<FileProject>(std::move(*engine));
  }
  std::unique_ptr<SessionProject> session() {
    RecordingSession both;
    both.timestampString = "2026-01-02 03-04-05";
    both.files = {{path("a.wav").toStdString(), "a"}, {path("b.wav").toStdString(), "b"}};
    return std::make_unique<SessionProject>(bench.engines(), both, QStringLiteral("Session"));
  }
  // Shown, with its waveforms read.
  std::unique_ptr<EditorView> shown(std::unique_ptr<EditedProject> project) {
    auto view = std::make_unique<EditorView>(std::move(project), bench);
    view->resize(1000, 500);
    view->show();
    view->activateWindow();
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
          return std::ranges::all_of(view->project().tracks(),
                                     [](const auto& track) { return *track.engine->envelope != nullptr; });
        },
        kPatience));
    return view;
  }
  static const TrimRange& range(EditorView& view, std::size_t track = 0) {
    return **view.project().tracks()[track].engine->trimRange;
  }
  static void drag(QWidget& widget, QPoint from, QPoint to) {
    QTest::mousePress(&widget, Qt::LeftButton, {}, from);
    QTest::mouseMove(&widget, (from + to) / 2);
    QTest::mouseMove(&widget, to);
    QTest::mouseRelease(&widget, Qt::LeftButton, {}, to);
  }
  static QToolButton* tool(QWidget& view, const QString& name) {
    for (auto* button : view.findChildren<QToolButton*>()) {
      if (button->accessibleName().startsWith(name)) return button;
    }
    ADD_FAILURE() << qPrintable(name);
    return nullptr;
  }

  QTemporaryDir folder;
  Workbench bench{Workbench::demoPlace(std::filesystem::path(folder.filePath("bench").toStdString()))};
};

// Two fingers hold the playhead where it is, and without it in view what lies between them.
TEST_F(EditorViewTest, APinchZoomsAroundThePlayhead) {
  auto view = shown(file());
  Timeline& line = view->timeline();
  EditorViewport& shownPart = view->project().viewport();
  const auto gesture = [&](Qt::NativeGestureType type, double value) {
    const QPointF at(line.width() * 0.75, 40);
    QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2, at, at, at, value, {});
    QApplication::sendEvent(&line, &event);
  };
  const auto whole = shownPart.length();
  gesture(Qt::BeginNativeGesture, 0);
  gesture(Qt::ZoomNativeGesture, 1);
  gesture(Qt::ZoomNativeGesture, 1);
  EXPECT_EQ(shownPart.length(), whole / 4);
  EXPECT_EQ(*shownPart.viewStart, 0) << "the playhead is at the beginning";
  gesture(Qt::EndNativeGesture, 0);
  shownPart.show(whole / 2, whole);
  gesture(Qt::ZoomNativeGesture, 1);
  EXPECT_EQ(shownPart.length(), whole / 4);
  EXPECT_NEAR(double(*shownPart.viewStart), double(whole) * (0.875 - 0.75 / 4), 1000);
  gesture(Qt::EndNativeGesture, 0);
}

TEST_F(EditorViewTest, HandlesTrimFadeAndSetTheGainEachAsOneStep) {
  auto view = shown(file());
  Timeline& line = view->timeline();
  const int width = line.width();
  const int middle = Timeline::kRuler + line.laneHeight() / 2;
  const auto seconds = [&](std::int64_t frames) { return static_cast<double>(frames) / 48000; };
  const double pixel = 10.0 / width;
  drag(line, {0, middle + 30}, {width / 4, middle + 30});
  EXPECT_NEAR(seconds(range(*view).startFrame), 2.5, 3 * pixel);
  drag(line, {width - 1, middle + 30}, {width / 2, middle + 30});
  EXPECT_NEAR(seconds(range(*view).endFrame), 5, 3 * pixel);
  const int fadeY = Timeline::kRuler + 5;
  drag(line, {width / 4 + 4, fadeY}, {width / 4 + width / 10, fadeY});
  EXPECT_NEAR(seconds(range(*view).fadeInFrames), 1, 8 * pixel);
  drag(line, {width / 2 - 4, fadeY}, {width / 2 - width / 10, fadeY});
  EXPECT_NEAR(seconds(range(*view).fadeOutFrames), 1, 8 * pixel);
  drag(line, {width * 3 / 8, middle}, {width * 3 / 8, middle - line.laneHeight() / 4});
  EXPECT_NEAR(20 * std::log10(range(*view).gainLinear), 12, 1);
  for (int i = 0; i < 5; ++i) view->project().undo();
  EXPECT_EQ(range(*view), TrimRange::whole(480000, 48000)) << "five drags are five steps";
  EXPECT_FALSE(view->project().canUndo());
  for (int i = 0; i < 5; ++i) view->project().redo();
  EXPECT_NEAR(seconds(range(*view).startFrame), 2.5, 3 * pixel);
}

TEST_F(EditorViewTest, TheWheelZoomsAroundThePointerAndScrollsWithShift) {
  auto view = shown(file());
  Timeline& line = view->timeline();
  EditorViewport& port = view->project().viewport();
  const auto turn = [&](int x, int steps, Qt::KeyboardModifiers modifiers) {
    QWheelEvent wheel(QPointF(x, 60), line.mapToGlobal(QPointF(x, 60)), {}, {0, 120 * steps}, {}, modifiers,
                      {}, false);
    QApplication::sendEvent(&line, &wheel);
  };
  const double share = 0.7;
  const int x = static_cast<int>(line.width() * share);
  for (int i = 0; i < 8; ++i) turn(x, 1, {});
  EXPECT_LT(port.length(), 480000 / 5);
  const double under = static_cast<double>(*port.viewStart) + share * static_cast<double>(port.length());
  EXPECT_NEAR(under, share * 480000, 480000 * 0.002) << "what was under the pointer still is";
  const std::int64_t before = *port.viewStart;
  turn(x, -2, Qt::ShiftModifier);
  EXPECT_GT(*port.viewStart, before);
  auto* bar = view->findChild<QScrollBar*>();
  bar->setValue(bar->maximum());
  EXPECT_EQ(*port.viewEnd, 480000);
  for (int i = 0; i < 40; ++i) turn(x, 4, {});
  EXPECT_GE(port.length(), EditorViewport::kMinimumLength);
  for (int i = 0; i < 60; ++i) turn(x, -4, {});
  EXPECT_EQ(port.length(), 480000);
}

TEST_F(EditorViewTest, KeysAndNumbersDoWhatTheHandlesDo) {
  auto view = shown(file());
  Timeline& line = view->timeline();
  line.setFocus();
  const auto boxes = view->findChild<RangeFields*>()->findChildren<QDoubleSpinBox*>();
  ASSERT_EQ(boxes.size(), 5);
  boxes[0]->setValue(3);
  EXPECT_EQ(view->project().playhead(), 3 * 48000);
  QTest::keyClick(&line, Qt::Key_I);
  EXPECT_EQ(range(*view).startFrame, 3 * 48000);
  EXPECT_DOUBLE_EQ(boxes[1]->value(), 3);
  boxes[2]->setValue(8);
  boxes[3]->setValue(0.5);
  boxes[4]->setValue(0.25);
  EXPECT_EQ(range(*view).endFrame, 8 * 48000);
  EXPECT_EQ(range(*view).fadeInFrames, 24000);
  EXPECT_EQ(range(*view).fadeOutFrames, 12000);
  QTest::keyClick(&line, Qt::Key_Right, Qt::ShiftModifier);
  EXPECT_EQ(view->project().playhead(), 4 * 48000);
  QTest::keyClick(&line, Qt::Key_Equal);
  EXPECT_EQ(view->project().viewport().length(), 240000);
  QTest::keyClick(&line, Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(range(*view).fadeOutFrames, 0);
  QTest::keyClick(&line, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(range(*view).fadeOutFrames, 12000);
  tool(*view, QStringLiteral("Auto-set"))->click();
  EXPECT_GT(range(*view).gainLinear, 1.5) << "the peak is at half of full scale";
}

TEST_F(EditorViewTest, ASessionShowsItsTracksToBeSilencedAndTrimmedOneByOne) {
  auto view = shown(session());
  ASSERT_EQ(view->project().tracks().size(), 2u);
  Timeline& line = view->timeline();
  line.setFocus();
  QTest::keyClick(&line, Qt::Key_Down);
  EXPECT_EQ(line.chosenTrack(), 1u);
  view->project().seek(48000);
  QTest::keyClick(&line, Qt::Key_I);
  EXPECT_EQ(range(*view, 1).startFrame, 48000);
  EXPECT_EQ(range(*view, 0).startFrame, 0);
  tool(*view, QStringLiteral("Solo b"))->click();
  EXPECT_FALSE(view->project().isAudible(0));
  tool(*view, QStringLiteral("Mute b"))->click();
  EXPECT_TRUE(view->project().isMuted(1));
  view->project().undo();
  view->project().undo();
  EXPECT_TRUE(view->project().isAudible(0));
  QSignalSpy refused(&view->project(), &EditedProject::refused);
  view->project().addTrack(path("a.wav"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return refused.count() == 1; }, kPatience));
  EXPECT_TRUE(refused.first().first().toString().contains(QStringLiteral("already"))) << "it says why";
}

TEST_F(EditorViewTest, AnExportShowsItsEndAndAFailureWhereItWasAskedFor) {
  auto view = shown(file());
  QTest::keyClick(view.get(), Qt::Key_E, Qt::ControlModifier);
  auto* sheet = view->findChild<ExportSheet*>();
  ASSERT_TRUE(sheet);
  QSignalSpy exported(sheet, &ExportSheet::exported);
  auto* place = sheet->findChild<QLineEdit*>();
  const auto press = [&](const QString& text) {
    for (auto* button : sheet->findChildren<QPushButton*>()) {
      if (button->text() == text) button->click();
    }
  };
  place->setText(path("a.wav"));
  press(QStringLiteral("Export"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return !view->project().isSaving(); }, kPatience));
  QTest::qWait(20);
  EXPECT_EQ(exported.count(), 0) << "the original stays as it is";
  EXPECT_TRUE(sheet->isVisible());
  auto* format = sheet->findChild<QComboBox*>();
  for (auto* box : sheet->findChildren<QComboBox*>()) {
    if (box->findText(QStringLiteral("FLAC")) >= 0) format = box;
  }
  place->setText(path("out.wav"));
  format->setCurrentText(QStringLiteral("FLAC"));
  EXPECT_TRUE(place->text().endsWith(QStringLiteral("out.flac")));
  press(QStringLiteral("Export"));
  ASSERT_TRUE(QTest::qWaitFor([&] { return exported.count() == 1; }, kPatience));
  EXPECT_TRUE(QFile::exists(path("out.flac")));
}

TEST_F(EditorViewTest, EditsThatAreInNoFileAreLostOnlyWhenTheUserSaysSo) {
  auto view = shown(file());
  QSignalSpy back(view.get(), &EditorView::backWanted);
  EXPECT_TRUE(view->unfinishedWork().isEmpty());
  EditorEngine& engine = *view->project().tracks()[0].engine;
  engine.setGainLinear(0.5f);
  ASSERT_FALSE(view->unfinishedWork().isEmpty());
  view->close();
  EXPECT_TRUE(view->isVisible());
  EXPECT_EQ(back.count(), 0);
  ASSERT_TRUE(engine.saveTrimmed(path("kept.wav").toStdString(), {}));
  EXPECT_FALSE(view->unfinishedWork().isEmpty()) << "the export is under way";
  ASSERT_TRUE(QTest::qWaitFor([&] { return !*engine.isSaving(); }, kPatience));
  EXPECT_TRUE(view->unfinishedWork().isEmpty());
  engine.setGainLinear(0.25f);
  view->leave();
  const auto buttons = view->findChildren<QPushButton*>();
  const auto lose = std::ranges::find_if(
      buttons, [](const QPushButton* each) { return each->text().contains(QStringLiteral("lose")); });
  ASSERT_TRUE(lose != buttons.end());
  (*lose)->click();
  EXPECT_EQ(back.count(), 1);
  EXPECT_TRUE(view->close());
}

}  // namespace
}  // namespace sonmere
