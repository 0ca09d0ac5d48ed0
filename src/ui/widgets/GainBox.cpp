#include "ui/widgets/GainBox.h"

#include <QHBoxLayout>

#include "ui/model/VolumeWords.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/VolumeField.h"

namespace sonmere {

GainBox::GainBox(float mostGain, QWidget* parent)
    : QWidget(parent), slider_(new GainSlider), field_(new VolumeField) {
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(kGrid / 2);
  layout->addWidget(slider_, 1);
  layout->addWidget(field_);
  slider_->setMaximumGain(mostGain);
  connect(slider_, &GainSlider::gainChosen, this, [this](float gain) {
    field_->showGain(gain);
    emit gainChosen(gain);
  });
  connect(field_, &VolumeField::typed, this, &GainBox::take);
}

void GainBox::setName(const QString& name) {
  slider_->setAccessibleName(name);
  field_->setAccessibleName(tr("%1, as text").arg(name));
}

void GainBox::showGain(float gain) {
  slider_->showGain(gain);
  field_->showGain(gain);
}

void GainBox::take(const QString& text) {
  const auto gain = gainFromWords(text);
  gain ? emit gainChosen(*gain) : emit refused(gain.error());
}

}  // namespace sonmere
