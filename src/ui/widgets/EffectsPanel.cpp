#include "ui/widgets/EffectsPanel.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QToolButton>

#include "control/AppState.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/EqualiserPanel.h"

namespace sonmere {

EffectsPanel::EffectsPanel(QWidget* parent)
    : QWidget(parent),
      equaliser_(new EqualiserPanel),
      limiter_(new QToolButton),
      ceiling_(new QDoubleSpinBox) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(0, kGrid, 0, 0);
  layout->addWidget(equaliser_, 0, 0, 1, 5);
  limiter_->setText(tr("Limiter on"));
  limiter_->setCheckable(true);
  limiter_->setToolTip(tr("Limiter"));
  ceiling_->setRange(-12, 0);
  ceiling_->setDecimals(1);
  ceiling_->setSingleStep(0.5);
  ceiling_->setSuffix(tr(" dBFS"));
  ceiling_->setKeyboardTracking(false);
  ceiling_->setAccessibleName(tr("Limiter ceiling"));
  auto* label = new QLabel(tr("Ceiling"));
  label->setBuddy(ceiling_);
  layout->addWidget(limiter_, 1, 0);
  layout->addWidget(label, 1, 1);
  layout->addWidget(ceiling_, 1, 2);
  auto* plugins = new QToolButton;
  plugins->setText(tr("Plug-ins…"));
  layout->addWidget(plugins, 1, 4);
  layout->setColumnStretch(3, 1);
  connect(plugins, &QToolButton::clicked, this, &EffectsPanel::pluginsWanted);
  connect(equaliser_, &EqualiserPanel::edited, this, &EffectsPanel::equaliserChosen);
  connect(limiter_, &QToolButton::clicked, this, &EffectsPanel::chooseLimiter);
  connect(ceiling_, &QDoubleSpinBox::valueChanged, this, [this] {
    limiter_->setChecked(true);
    chooseLimiter();
  });
}

void EffectsPanel::chooseLimiter() {
  emit limiterChosen(limiter_->isChecked() ? std::optional(ceiling_->value()) : std::nullopt);
}

void EffectsPanel::showApp(const AppState& app) {
  equaliser_->showSettings(app.equaliser);
  const QSignalBlocker quiet(ceiling_);
  limiter_->setChecked(app.limiter.isEnabled);
  ceiling_->setValue(app.limiter.ceilingDb);
}

}  // namespace sonmere
