#include "ui/widgets/VolumeField.h"

#include <QKeyEvent>
#include <cmath>

namespace sonmere {

QString percentText(float gain) {
  return VolumeField::tr("%1 %").arg(
      QLocale().toString(std::round(gain * 1000) / 10, 'f', gain < 0.1f ? 1 : 0));
}

QString decibelText(float gain) {
  if (gain <= 0) return VolumeField::tr("silent");
  return VolumeField::tr("%1 dB").arg(QLocale().toString(20 * std::log10(gain), 'f', 1));
}

VolumeField::VolumeField(QWidget* parent) : QLineEdit(parent) {
  setAlignment(Qt::AlignRight);
  setAccessibleName(tr("Volume as text"));
  setFixedWidth(fontMetrics().horizontalAdvance(QStringLiteral("000,0 %")) + 24);
  connect(this, &QLineEdit::returnPressed, this, &VolumeField::confirm);
  showGain(1);
}

void VolumeField::showGain(float gain) {
  gain_ = gain;
  setToolTip(decibelText(gain));
  if (!hasFocus() || !isModified()) setText(percentText(gain));
}

void VolumeField::confirm() {
  if (!isModified()) return;
  setModified(false);
  emit typed(text());
}

void VolumeField::focusInEvent(QFocusEvent* event) {
  QLineEdit::focusInEvent(event);
  selectAll();
}

void VolumeField::focusOutEvent(QFocusEvent* event) {
  confirm();
  QLineEdit::focusOutEvent(event);
  setText(percentText(gain_));
}

void VolumeField::keyPressEvent(QKeyEvent* event) {
  if (event->key() != Qt::Key_Escape) return QLineEdit::keyPressEvent(event);
  setModified(false);
  setText(percentText(gain_));
}

}  // namespace sonmere
