#include "ui/widgets/ExtraInputRow.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QSignalBlocker>
#include <QToolButton>
#include <cmath>

#include "ui/model/InputModel.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/Meter.h"

namespace sonmere {

ExtraInputRow::ExtraInputRow(QString id, InputModel& model, QWidget* parent)
    : QFrame(parent),
      id_(std::move(id)),
      model_(model),
      name_(new ElidedLabel),
      meter_(new Meter),
      slider_(new GainSlider),
      pan_(new QDoubleSpinBox),
      mute_(new QToolButton),
      remove_(new QToolButton) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Button);
  slider_->setMaximumGain(2);
  pan_->setRange(-1, 1);
  pan_->setSingleStep(0.1);
  pan_->setDecimals(2);
  pan_->setKeyboardTracking(false);
  mute_->setText(tr("Mute"));
  mute_->setCheckable(true);
  remove_->setText(tr("Remove"));
  name_->setMinimumWidth(90);
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setHorizontalSpacing(kGrid);
  layout->addWidget(name_, 0, 0, 2, 1);
  layout->addWidget(slider_, 0, 1);
  layout->addWidget(meter_, 1, 1);
  layout->addWidget(pan_, 0, 2);
  layout->addWidget(mute_, 0, 3);
  layout->addWidget(remove_, 0, 4);
  layout->setColumnStretch(0, 2);
  layout->setColumnStretch(1, 3);
  connect(slider_, &GainSlider::gainChosen, this, [this](float gain) { model_.setExtraVolume(id_, gain); });
  connect(pan_, &QDoubleSpinBox::valueChanged, this,
          [this](double pan) { model_.setExtraPan(id_, float(pan)); });
  connect(mute_, &QToolButton::clicked, this, [this](bool muted) { model_.setExtraMuted(id_, muted); });
  connect(remove_, &QToolButton::clicked, this, [this] { model_.removeExtra(id_); });
}

void ExtraInputRow::show(const ExtraInputState& input) {
  const QString name = tr("%1, channel %2").arg(QString::fromStdString(input.name)).arg(input.channel);
  name_->setText(name);
  setAccessibleName(name);
  slider_->showGain(input.volume);
  slider_->setAccessibleName(tr("Volume of %1").arg(name));
  const QSignalBlocker quiet(pan_);
  pan_->setValue(input.pan);
  pan_->setAccessibleName(tr("Pan of %1, -1 left to 1 right").arg(name));
  pan_->setToolTip(tr("Pan, -1 left to 1 right"));
  mute_->setChecked(input.isMuted);
  mute_->setAccessibleName(tr("Mute %1").arg(name));
  remove_->setAccessibleName(tr("Remove %1").arg(name));
}

void ExtraInputRow::showPeak(std::optional<float> peak) {
  meter_->setLevel(peak ? std::optional(20 * std::log10(std::max(*peak, 1e-3f))) : std::nullopt);
}

}  // namespace sonmere
