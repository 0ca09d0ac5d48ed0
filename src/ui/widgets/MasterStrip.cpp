#include "ui/widgets/MasterStrip.h"

#include <QGridLayout>
#include <QLabel>
#include <QToolButton>

#include "ui/model/AppsModel.h"
#include "ui/model/VolumeWords.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/EqualiserPanel.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/VolumeField.h"

namespace sonmere {
namespace {

constexpr float kMostMasterGain = 2;

}  // namespace

MasterStrip::MasterStrip(AppsModel& model, QWidget* parent)
    : QFrame(parent),
      model_(model),
      enabled_(new QToolButton),
      device_(new ElidedLabel),
      slider_(new GainSlider),
      volume_(new VolumeField),
      effects_(new QToolButton),
      equaliser_(new EqualiserPanel),
      note_(new NoteLabel) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setHorizontalSpacing(kGrid);
  enabled_->setCheckable(true);
  enabled_->setText(tr("Per-app volume"));
  effects_->setCheckable(true);
  effects_->setText(tr("Equaliser"));
  slider_->setAccessibleName(tr("Master volume"));
  equaliser_->hide();
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(device_, 0, 1);
  layout->addWidget(slider_, 0, 2);
  layout->addWidget(volume_, 0, 3);
  layout->addWidget(effects_, 0, 4);
  layout->addWidget(note_, 1, 0, 1, 5);
  layout->addWidget(equaliser_, 2, 0, 1, 5);
  layout->setColumnStretch(1, 2);
  layout->setColumnStretch(2, 3);
  connect(enabled_, &QToolButton::clicked, &model_, &AppsModel::setMixerEnabled);
  connect(slider_, &GainSlider::gainChosen, this, [this](float gain) {
    volume_->showGain(gain);
    model_.setMasterVolume(gain);
  });
  connect(volume_, &VolumeField::typed, this, [this](const QString& text) {
    const auto gain = gainFromWords(text);
    gain ? model_.setMasterVolume(*gain) : say(gain.error(), true);
  });
  connect(effects_, &QToolButton::toggled, equaliser_, &QWidget::setVisible);
  connect(equaliser_, &EqualiserPanel::edited, &model_, &AppsModel::setOutputEqualiser);
  connect(&model_, &AppsModel::mixerChanged, this, &MasterStrip::refresh);
  connect(&model_, &AppsModel::answered, this, [this](const QString& id, const QString& text, bool refused) {
    if (id.isEmpty()) say(text, refused);
  });
  refresh();
}

void MasterStrip::refresh() {
  const MixerState& mixer = model_.mixer();
  enabled_->setChecked(mixer.isEnabled);
  slider_->setMaximumGain(mixer.boostAllowed ? kMostMasterGain : 1);
  slider_->showGain(mixer.masterVolume);
  volume_->showGain(mixer.masterVolume);
  equaliser_->showSettings(mixer.outputEqualiser);
  const QString device = QString::fromStdString(mixer.outputDevice);
  device_->setText(!mixer.isEnabled   ? tr("Apps play as they are")
                   : device.isEmpty() ? tr("Waiting for an output")
                                      : tr("on %1").arg(device));
  for (QWidget* control : {static_cast<QWidget*>(slider_), static_cast<QWidget*>(volume_),
                           static_cast<QWidget*>(effects_), static_cast<QWidget*>(equaliser_)}) {
    control->setEnabled(mixer.isEnabled);
  }
  if (mixer.error) say(QString::fromStdString(*mixer.error), true);
}

void MasterStrip::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
