#include "ui/widgets/DAWCard.h"

#include <QPushButton>

#include "ui/model/DAWModel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {

DAWCard::DAWCard(DAWModel& model, QWidget* parent)
    : QGroupBox(tr("Multi-track device"), parent),
      model_(model),
      enabled_(new QPushButton(tr("Multi-track device"))),
      state_(wordsLabel()),
      reset_(new QPushButton(tr("Make it anew"))),
      problem_(new NoteLabel),
      note_(new NoteLabel) {
  QGridLayout* layout = gridIn(this);
  enabled_->setCheckable(true);
  enabled_->setToolTip(tr("All eight Tracks as one device of sixteen channels, for a workstation"));
  reset_->setAccessibleName(tr("Make the multi-track device anew"));
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(state_, 0, 1);
  layout->addWidget(reset_, 0, 2);
  layout->addWidget(problem_, 1, 0, 1, 3);
  layout->addWidget(note_, 2, 0, 1, 3);
  layout->setColumnStretch(1, 1);
  connect(enabled_, &QPushButton::clicked, &model_, &DAWModel::setEnabled);
  connect(reset_, &QPushButton::clicked, &model_, &DAWModel::reset);
  connect(&model_, &DAWModel::changed, this, &DAWCard::refresh);
  connect(&model_, &DAWModel::answered, note_, &NoteLabel::say);
  refresh();
}

QString DAWCard::stateText() const {
  const DAWState& state = model_.state();
  if (!state.isEnabled) return tr("Off");
  if (!state.isPresent) return tr("On, but it is not there");
  return tr("On: \"%1\", %2 channels in and %3 out; 1 and 2 are Track 1, 3 and 4 Track 2, and so on")
      .arg(QString::fromStdString(state.name))
      .arg(state.inputs)
      .arg(state.outputs);
}

void DAWCard::refresh() {
  const DAWState& state = model_.state();
  enabled_->setChecked(state.isEnabled);
  state_->setText(stateText());
  problem_->say(QString::fromStdString(state.error.value_or("")), true);
}

}  // namespace sonmere
