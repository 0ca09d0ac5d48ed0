#include "ui/widgets/EqualiserPanel.h"

#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QMenu>
#include <QSignalBlocker>
#include <QToolButton>

#include "ui/theme/Theme.h"
#include "ui/widgets/EqualiserCurve.h"

namespace sonmere {

EqualiserPanel::EqualiserPanel(QWidget* parent)
    : QWidget(parent),
      curve_(new EqualiserCurve),
      enabled_(new QToolButton),
      spectrum_(new QToolButton),
      fieldGrid_(new QGridLayout) {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(curve_, 0, 0, 1, 5);
  layout->addLayout(fieldGrid_, 1, 0, 1, 5);
  fieldGrid_->setHorizontalSpacing(kGrid);

  enabled_->setText(tr("Equaliser on"));
  enabled_->setCheckable(true);
  connect(enabled_, &QToolButton::clicked, this, [this](bool on) {
    AppEQSettings wanted = settings_;
    wanted.isEnabled = on;
    choose(wanted);
  });
  layout->addWidget(enabled_, 2, 0);
  layout->addWidget(presetButton(), 2, 1);
  auto* reset = new QToolButton;
  reset->setText(tr("Reset EQ"));
  connect(reset, &QToolButton::clicked, this, [this] { choose({}); });
  layout->addWidget(reset, 2, 2);
  spectrum_->setText(tr("Spectrum"));
  spectrum_->setCheckable(true);
  spectrum_->setToolTip(tr("Show what is playing behind the curve"));
  connect(spectrum_, &QToolButton::clicked, this, &EqualiserPanel::spectrumChosen);
  layout->addWidget(spectrum_, 2, 3);
  layout->setColumnStretch(4, 1);

  addField(tr("Low cut"), 20, 2000, 0, tr(" Hz"), &AppEQSettings::highPassFreq);
  addField(tr("Bell at"), 20, 20000, 0, tr(" Hz"), &AppEQSettings::paraFreq);
  addField(tr("Gain"), -24, 24, 1, tr(" dB"), &AppEQSettings::paraGain);
  addField(tr("Width (Q)"), 0.1, 10, 2, {}, &AppEQSettings::paraQ);
  addField(tr("High cut"), 1000, 20000, 0, tr(" Hz"), &AppEQSettings::lowPassFreq);
  connect(curve_, &EqualiserCurve::edited, this, &EqualiserPanel::choose);
  fill();
}

QDoubleSpinBox* EqualiserPanel::addField(const QString& name, double low, double high, int decimals,
                                         const QString& unit, double AppEQSettings::*member) {
  auto* box = new QDoubleSpinBox;
  box->setRange(low, high);
  box->setDecimals(decimals);
  box->setSuffix(unit);
  box->setKeyboardTracking(false);
  box->setStepType(high > 100 ? QAbstractSpinBox::AdaptiveDecimalStepType
                              : QAbstractSpinBox::DefaultStepType);
  box->setSingleStep(high > 10 ? 1 : 0.1);
  auto* label = new QLabel(name);
  label->setBuddy(box);
  box->setAccessibleName(name);
  const int column = static_cast<int>(fields_.size());
  fieldGrid_->addWidget(label, 0, column);
  fieldGrid_->addWidget(box, 1, column);
  fields_.push_back({box, member});
  connect(box, &QDoubleSpinBox::valueChanged, this, [this, member](double value) {
    AppEQSettings wanted = settings_;
    wanted.*member = value;
    wanted.isEnabled = true;
    choose(wanted);
  });
  return box;
}

QToolButton* EqualiserPanel::presetButton() {
  struct Preset {
    QString name;
    AppEQSettings settings;
  };
  const Preset presets[] = {
      {tr("Clear speech"), {true, 100, 12000, 3000, 4, 0.8}},
      {tr("Less rumble"), {true, 120, 20000, 1000, 0, 1}},
      {tr("More bass"), {true, 20, 20000, 90, 6, 0.8}},
      {tr("Softer treble"), {true, 20, 9000, 4000, -3, 0.7}},
      {tr("Telephone"), {true, 400, 3400, 1800, 4, 0.7}},
  };
  auto* menu = new QMenu(this);
  for (const Preset& preset : presets) {
    menu->addAction(preset.name, this, [this, settings = preset.settings] { choose(settings); });
  }
  auto* button = new QToolButton;
  button->setText(tr("Presets"));
  button->setMenu(menu);
  button->setPopupMode(QToolButton::InstantPopup);
  return button;
}

void EqualiserPanel::showSettings(const AppEQSettings& settings) {
  if (settings == settings_) return;
  settings_ = settings;
  fill();
}

void EqualiserPanel::showSpectrumWanted(bool wanted) {
  spectrum_->setChecked(wanted);
  if (!wanted) curve_->showSpectrum({});
}

void EqualiserPanel::showSpectrum(const std::vector<float>& bandsDb) { curve_->showSpectrum(bandsDb); }

void EqualiserPanel::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  emit looked(true);
}

void EqualiserPanel::hideEvent(QHideEvent* event) {
  QWidget::hideEvent(event);
  curve_->showSpectrum({});
  emit looked(false);
}

void EqualiserPanel::choose(AppEQSettings settings) {
  settings_ = settings;
  fill();
  emit edited(settings_);
}

void EqualiserPanel::fill() {
  curve_->showSettings(settings_);
  enabled_->setChecked(settings_.isEnabled);
  for (const Field& field : fields_) {
    const QSignalBlocker quiet(field.box);
    if (field.box->value() != settings_.*field.member) field.box->setValue(settings_.*field.member);
  }
}

}  // namespace sonmere
