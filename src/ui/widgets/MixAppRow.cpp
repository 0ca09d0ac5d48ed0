#include "ui/widgets/MixAppRow.h"

#include <QGridLayout>
#include <QToolButton>

#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/GainBox.h"

namespace sonmere {
namespace {

constexpr float kMostGain = 4;

}  // namespace

MixAppRow::MixAppRow(QWidget* parent)
    : QFrame(parent),
      name_(new ElidedLabel),
      hear_(new GainBox(kMostGain)),
      stream_(new GainBox(kMostGain)),
      link_(new QToolButton) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Button);
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid / 2, kGrid, kGrid / 2);
  layout->setHorizontalSpacing(kGrid);
  name_->setMinimumWidth(64);
  link_->setCheckable(true);
  link_->setIcon(themedIcon(QStringLiteral("link")));
  link_->setToolTip(tr("Both are one"));
  layout->addWidget(name_, 0, 0);
  layout->addWidget(hear_, 0, 1);
  layout->addWidget(link_, 0, 2);
  layout->addWidget(stream_, 0, 3);
  layout->setColumnStretch(0, 2);
  layout->setColumnStretch(1, 3);
  layout->setColumnStretch(3, 3);
  connect(hear_, &GainBox::gainChosen, this, &MixAppRow::hearChosen);
  connect(stream_, &GainBox::gainChosen, this, &MixAppRow::streamChosen);
  connect(link_, &QToolButton::clicked, this, &MixAppRow::linkChosen);
  for (GainBox* box : {hear_, stream_}) connect(box, &GainBox::refused, this, &MixAppRow::refused);
}

void MixAppRow::showApp(const MixState::App& app) {
  const QString name = QString::fromStdString(app.name);
  name_->setText(name);
  hear_->setName(tr("How loud you hear %1").arg(name));
  stream_->setName(tr("How loud %1 is recorded").arg(name));
  link_->setAccessibleName(tr("You hear %1 as loud as it is recorded").arg(name));
  hear_->showGain(app.hear);
  stream_->showGain(app.stream);
  link_->setChecked(app.isLinked);
}

}  // namespace sonmere
