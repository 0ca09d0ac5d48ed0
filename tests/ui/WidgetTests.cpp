#include <gtest/gtest.h>

#include <QDoubleSpinBox>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <cmath>

#include "ui/widgets/AppRow.h"
#include "ui/widgets/EqualiserCurve.h"
#include "ui/widgets/EqualiserPanel.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/MeterBallistics.h"
#include "ui/widgets/VolumeField.h"

namespace sonmere {
namespace {

double decibels(float gain) { return 20 * std::log10(gain); }

TEST(MeterBallistics, RisesAtOnceFallsSlowlyAndHoldsItsPeak) {
  MeterBallistics meter;
  meter.tell(-6, 0);
  EXPECT_DOUBLE_EQ(meter.barDb(), -6);
  meter.tell(-60, 0.5);
  EXPECT_DOUBLE_EQ(meter.barDb(), -18);
  EXPECT_DOUBLE_EQ(meter.peakDb(), -6) << "held for a second and a half";
  meter.tell(-60, 2.0);
  EXPECT_DOUBLE_EQ(meter.peakDb(), -18) << "fell for half a second";
  meter.tell(-60, 10);
  EXPECT_TRUE(meter.isAtRest());
  meter.tell(0, 11);
  meter.tell(std::nullopt, 11.01);
  EXPECT_TRUE(meter.isAtRest()) << "nothing is metered";
}

TEST(GainSlider, StepsByDecibelsBetweenSilenceAndItsMaximum) {
  GainSlider slider;
  slider.resize(300, 24);
  QSignalSpy chosen(&slider, &GainSlider::gainChosen);
  QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_NEAR(decibels(slider.gain()), 1, 1e-4);
  QTest::keyClick(&slider, Qt::Key_PageDown);
  EXPECT_NEAR(decibels(slider.gain()), -5, 1e-4);
  QTest::keyClick(&slider, Qt::Key_Home);
  EXPECT_EQ(slider.gain(), 1);
  QTest::keyClick(&slider, Qt::Key_End);
  EXPECT_EQ(slider.gain(), 0);
  QTest::keyClick(&slider, Qt::Key_Left);
  EXPECT_EQ(slider.gain(), 0);
  QTest::keyClick(&slider, Qt::Key_Up);
  EXPECT_NEAR(decibels(slider.gain()), -60, 1e-3) << "a step up from silence can be heard";
  EXPECT_EQ(chosen.count(), 6);
  for (int i = 0; i < 80; ++i) QTest::keyClick(&slider, Qt::Key_Right);
  EXPECT_EQ(slider.gain(), 4);
  slider.setMaximumGain(1);
  slider.showGain(4);
  EXPECT_EQ(slider.gain(), 1) << "without boost it ends at 100 %";
}

TEST(GainSlider, WhatTheServiceSaysIsShownAndNotChosenAndWaitsForADrag) {
  GainSlider slider;
  slider.resize(300, 24);
  QSignalSpy chosen(&slider, &GainSlider::gainChosen);
  slider.showGain(0.5f);
  EXPECT_EQ(chosen.count(), 0);
  EXPECT_EQ(slider.value(), 500) << "a screen reader hears it";
  QTest::mousePress(&slider, Qt::LeftButton, {}, {8, 12});
  EXPECT_EQ(slider.gain(), 0);
  slider.showGain(0.7f);
  EXPECT_EQ(slider.gain(), 0) << "the knob stays under the finger";
  QTest::mouseRelease(&slider, Qt::LeftButton, {}, {8, 12});
  slider.showGain(0.7f);
  EXPECT_FLOAT_EQ(slider.gain(), 0.7f);
  QTest::mouseDClick(&slider, Qt::LeftButton, {}, {8, 12});
  EXPECT_EQ(slider.gain(), 1);
  slider.setValue(250);
  EXPECT_FLOAT_EQ(chosen.last().first().toFloat(), 0.25f) << "a screen reader may set it";
}

TEST(VolumeField, TypingIsConfirmedByReturnAndTakenBackByEscape) {
  VolumeField field;
  field.showGain(0.5f);
  EXPECT_EQ(field.text(), QStringLiteral("50 %"));
  QSignalSpy typed(&field, &VolumeField::typed);
  field.selectAll();
  QTest::keyClicks(&field, QStringLiteral("-6dB"));
  QTest::keyClick(&field, Qt::Key_Escape);
  EXPECT_EQ(field.text(), QStringLiteral("50 %"));
  field.selectAll();
  QTest::keyClicks(&field, QStringLiteral("30%"));
  QTest::keyClick(&field, Qt::Key_Return);
  ASSERT_EQ(typed.count(), 1);
  EXPECT_EQ(typed.first().first().toString(), QStringLiteral("30%"));
}

TEST(Equaliser, CurveAndFieldsAreOneValue) {
  EqualiserPanel panel;
  panel.resize(500, 300);
  auto* curve = panel.findChild<EqualiserCurve*>();
  curve->resize(420, 160);
  const auto boxes = panel.findChildren<QDoubleSpinBox*>();
  ASSERT_EQ(boxes.size(), 5);
  QSignalSpy edited(&panel, &EqualiserPanel::edited);
  boxes[1]->setValue(500);
  EXPECT_EQ(curve->settings().paraFreq, 500);
  EXPECT_TRUE(curve->settings().isEnabled) << "who turns a knob wants to hear it";
  // The bell lies in the middle of the height at 500 Hz: found by its distance on the axis.
  const double share = std::log(500.0 / 10) / std::log(24000.0 / 10);
  const QPoint bell(qRound(8 + share * (420 - 16)), 80);
  QTest::mousePress(curve, Qt::LeftButton, {}, bell);
  QTest::mouseMove(curve, bell + QPoint(0, -36));
  QTest::mouseRelease(curve, Qt::LeftButton, {}, bell + QPoint(0, -36));
  EXPECT_NEAR(boxes[2]->value(), 12, 0.1) << "half of the way up is half of the range";
  EXPECT_EQ(edited.count(), 2);
  QSignalSpy looked(&panel, &EqualiserPanel::looked);
  panel.show();
  panel.showSpectrum(std::vector<float>(128, -10));
  const QImage full = curve->grab().toImage();
  panel.showSpectrumWanted(false);
  EXPECT_NE(curve->grab().toImage(), full) << "the spectrum is behind the curve";
  panel.hide();
  ASSERT_EQ(looked.count(), 2);
  EXPECT_TRUE(looked[0][0].toBool());
  EXPECT_FALSE(looked[1][0].toBool());
  panel.showSettings({});
  EXPECT_EQ(boxes[1]->value(), 1000);
  EXPECT_EQ(edited.count(), 2) << "what the service says is not told back to it";
}

TEST(AppRow, ShowsAnAppAndAsksForChanges) {
  AppRow row(QStringLiteral("org.music"));
  row.setTargets({{"As it is", "Default output", "default"}, {"Tracks", "Track 1", "2"}});
  AppState app;
  app.id = "org.music";
  app.name = "<b>Music</b>\n" + std::string(300, 'x');
  app.isRunning = true;
  app.control = "routed";
  app.bus = 2;
  app.volume = 0.25f;
  app.isMuted = true;
  row.showApp(app);
  row.resize(620, row.sizeHint().height());
  EXPECT_LE(row.minimumSizeHint().width(), 640) << "a long name does not widen the window";
  EXPECT_EQ(row.findChild<RouteButton*>()->text(), QStringLiteral("Track 1"));
  EXPECT_FLOAT_EQ(row.findChild<GainSlider*>()->gain(), 0.25f);
  QSignalSpy routed(&row, &AppRow::routeChosen);
  emit row.findChild<RouteButton*>()->menu()->aboutToShow();
  row.findChild<RouteButton*>()->menu()->actions().at(1)->trigger();
  ASSERT_EQ(routed.count(), 1);
  EXPECT_EQ(routed.first().at(1).toString(), QStringLiteral("default"));
  app.output = AppOutputState{"usb", "USB Headset", 3, 4, true};
  row.showApp(app);
  EXPECT_EQ(row.findChild<RouteButton*>()->text(), QStringLiteral("USB Headset"))
      << "also without its device";
  app.output.reset();
  row.showApp(app);
  EXPECT_EQ(row.findChild<RouteButton*>()->text(), QStringLiteral("Track 1"));
  QSignalSpy muted(&row, &AppRow::muteChosen);
  for (auto* button : row.findChildren<QToolButton*>()) {
    if (button->text() == QStringLiteral("Mute")) button->click();
  }
  ASSERT_EQ(muted.count(), 1);
  EXPECT_FALSE(muted.first().at(1).toBool());
  app.control = "direct";
  row.showApp(app);
  EXPECT_FALSE(row.findChild<GainSlider*>()->isEnabled()) << "nobody touches a direct app";
}

}  // namespace
}  // namespace sonmere
