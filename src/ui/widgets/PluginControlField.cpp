#include "ui/widgets/PluginControlField.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QHBoxLayout>
#include <QLocale>
#include <QSignalBlocker>
#include <QSlider>
#include <algorithm>
#include <cmath>

#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

constexpr int kSteps = 1000;

// So that the smallest step of a wide range is not lost, and a narrow one is not a row of zeros.
int decimalsFor(const PluginControlView& control) {
  if (control.isInteger) return 0;
  const double width = control.maximum - control.minimum;
  return width > 1000 ? 1 : width > 20 ? 2 : 4;
}

}  // namespace

PluginControlField::PluginControlField(const PluginControlView& control, QWidget* parent)
    : QWidget(parent), control_(control), value_(control.initial) {
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->setSpacing(kGrid);
  if (control_.isToggle) {
    box_ = new QCheckBox;
    layout->addWidget(box_, 1);
    setFocusProxy(box_);
    box_->setAccessibleName(control_.name);
    connect(box_, &QCheckBox::clicked, this,
            [this](bool on) { choose(on ? control_.maximum : control_.minimum); });
  } else if (isChoice()) {
    names_ = new QComboBox;
    for (const auto& point : control_.points) names_->addItem(point.label, point.value);
    names_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    layout->addWidget(names_, 1);
    setFocusProxy(names_);
    names_->setAccessibleName(control_.name);
    connect(names_, &QComboBox::activated, this, [this] { choose(names_->currentData().toDouble()); });
  } else {
    slider_ = new QSlider(Qt::Horizontal);
    slider_->setRange(0, kSteps);
    slider_->setPageStep(kSteps / 10);
    slider_->setMinimumWidth(64);
    slider_->setAccessibleName(control_.name);
    number_ = new QDoubleSpinBox;
    number_->setDecimals(decimalsFor(control_));
    number_->setRange(control_.minimum, control_.maximum);
    number_->setSingleStep(control_.isInteger ? 1 : (control_.maximum - control_.minimum) / 100);
    if (!control_.unit.isEmpty()) number_->setSuffix(QLatin1Char(' ') + control_.unit);
    number_->setKeyboardTracking(false);
    number_->setAccessibleName(control_.name);
    number_->setAccessibleDescription(rangeText());
    layout->addWidget(slider_, 1);
    layout->addWidget(number_);
    setFocusProxy(slider_);
    connect(slider_, &QSlider::valueChanged, this, [this](int step) { choose(valueAt(step)); });
    connect(number_, &QDoubleSpinBox::valueChanged, this, &PluginControlField::choose);
  }
  setToolTip(rangeText());
  showValue(value_);
}

// Where every value has a name; on others a name is a mark of the scale.
bool PluginControlField::isChoice() const { return control_.isInteger && !control_.points.empty(); }

QString PluginControlField::rangeText() const {
  if (control_.isToggle || isChoice()) return {};
  const QLocale locale;
  const QString range =
      tr("%1 to %2")
          .arg(locale.toString(control_.minimum, 'g', 6), locale.toString(control_.maximum, 'g', 6));
  return control_.unit.isEmpty() ? range : range + QLatin1Char(' ') + control_.unit;
}

int PluginControlField::stepOf(double value) const {
  const double low = control_.minimum, high = control_.maximum;
  if (!(high > low)) return 0;
  const double part = control_.isLogarithmic && low > 0
                          ? std::log(std::max(value, low) / low) / std::log(high / low)
                          : (value - low) / (high - low);
  return static_cast<int>(std::lround(std::clamp(part, 0.0, 1.0) * kSteps));
}

double PluginControlField::valueAt(int step) const {
  const double part = static_cast<double>(step) / kSteps;
  const double low = control_.minimum, high = control_.maximum;
  const double value =
      control_.isLogarithmic && low > 0 ? low * std::pow(high / low, part) : low + (high - low) * part;
  return control_.isInteger ? std::round(value) : value;
}

void PluginControlField::choose(double value) {
  if (value == value_) return;
  showValue(value);
  emit chosen(value);
}

void PluginControlField::showValue(double value) {
  value_ = value;
  if (box_) return box_->setChecked(value > (control_.minimum + control_.maximum) / 2);
  if (names_) {
    int nearest = 0;
    for (int i = 1; i < names_->count(); ++i) {
      if (std::abs(names_->itemData(i).toDouble() - value) <
          std::abs(names_->itemData(nearest).toDouble() - value)) {
        nearest = i;
      }
    }
    return names_->setCurrentIndex(nearest);
  }
  const QSignalBlocker quietSlider(slider_), quietNumber(number_);
  if (!slider_->isSliderDown()) slider_->setValue(stepOf(value));
  number_->setValue(value);
}

}  // namespace sonmere
