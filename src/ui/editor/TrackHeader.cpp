#include "ui/editor/TrackHeader.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QSignalBlocker>
#include <QToolButton>
#include <cmath>

#include "ui/editor/EditedProject.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"

namespace sonmere {
namespace {

QToolButton* flag(const QString& letter, const QString& name) {
  auto* button = new QToolButton;
  button->setText(letter);
  button->setCheckable(true);
  button->setToolTip(name);
  button->setAccessibleName(name);
  return button;
}

}  // namespace

TrackHeader::TrackHeader(EditedProject& project, std::size_t track, QWidget* parent)
    : QFrame(parent),
      project_(project),
      track_(track),
      name_(new ElidedLabel),
      mute_(flag(tr("M", "mute, one letter"), tr("Mute"))),
      solo_(flag(tr("S", "solo, one letter"), tr("Solo"))),
      gain_(new QDoubleSpinBox) {
  setAutoFillBackground(true);
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, 2, kGrid / 2, 2);
  layout->setSpacing(4);
  gain_->setRange(-60, 24);
  gain_->setDecimals(1);
  gain_->setSingleStep(0.5);
  gain_->setSuffix(tr(" dB"));
  gain_->setKeyboardTracking(false);
  const QString name = project_.tracks()[track].name;
  name_->setText(name);
  name_->setToolTip(name);
  setAccessibleName(name);
  gain_->setAccessibleName(tr("Gain of %1").arg(name));
  mute_->setAccessibleName(tr("Mute %1").arg(name));
  solo_->setAccessibleName(tr("Solo %1").arg(name));
  layout->addWidget(name_, 0, 0, 1, 3);
  layout->addWidget(gain_, 1, 0);
  layout->addWidget(solo_, 1, 1);
  layout->addWidget(mute_, 1, 2);
  layout->setColumnStretch(0, 1);
  solo_->setVisible(project_.isSession());
  mute_->setVisible(project_.isSession());
  connect(mute_, &QToolButton::clicked, this, [this](bool on) { project_.setMuted(track_, on); });
  connect(solo_, &QToolButton::clicked, this, [this](bool on) { project_.setSoloed(track_, on); });
  connect(gain_, &QDoubleSpinBox::valueChanged, this,
          [this](double decibels) { project_.tracks()[track_].engine->setGainDecibels(decibels); });
}

void TrackHeader::refresh(bool isChosen) {
  setBackgroundRole(isChosen ? QPalette::Button : QPalette::AlternateBase);
  mute_->setChecked(project_.isMuted(track_));
  solo_->setChecked(project_.isSoloed(track_));
  const auto& range = *project_.tracks()[track_].engine->trimRange;
  gain_->setEnabled(range.has_value());
  if (!range) return;
  const QSignalBlocker quiet(gain_);
  gain_->setValue(range->gainLinear > 0 ? 20 * std::log10(static_cast<double>(range->gainLinear)) : -60);
}

void TrackHeader::mousePressEvent(QMouseEvent*) { emit chosen(track_); }

}  // namespace sonmere
