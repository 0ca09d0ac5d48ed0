#include "ui/widgets/ProfilesCard.h"

#include <QLineEdit>
#include <QPushButton>

#include "ui/model/ProfilesModel.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {

ProfilesCard::ProfilesCard(ProfilesModel& model, QWidget* parent)
    : QGroupBox(tr("Profiles"), parent),
      model_(model),
      list_(new QVBoxLayout),
      empty_(wordsLabel(tr("No saved profiles. Enable apps and save a profile for quick switching."))),
      name_(new QLineEdit),
      note_(new NoteLabel) {
  QGridLayout* layout = gridIn(this);
  list_->setSpacing(kGrid / 2);
  name_->setPlaceholderText(tr("Enter a name for this routing profile."));
  name_->setAccessibleName(tr("Name of the new profile"));
  auto* add = new QPushButton(tr("Save the routing"));
  layout->addLayout(list_, 0, 0, 1, 2);
  layout->addWidget(empty_, 1, 0, 1, 2);
  layout->addWidget(name_, 2, 0);
  layout->addWidget(add, 2, 1);
  layout->addWidget(note_, 3, 0, 1, 2);
  layout->setColumnStretch(0, 1);
  connect(add, &QPushButton::clicked, this, &ProfilesCard::save);
  connect(name_, &QLineEdit::returnPressed, this, &ProfilesCard::save);
  connect(&model_, &ProfilesModel::changed, this, &ProfilesCard::refresh);
  connect(&model_, &ProfilesModel::answered, note_, &NoteLabel::say);
  refresh();
}

void ProfilesCard::save() { model_.save(name_->text().trimmed()); }

QWidget* ProfilesCard::makeRow(const QString& name, int apps) {
  auto* row = new QFrame;
  row->setAutoFillBackground(true);
  row->setBackgroundRole(QPalette::Button);
  QGridLayout* layout = gridIn(row);
  auto* title = new ElidedLabel;
  title->setText(name);
  auto* apply = new QPushButton(tr("Apply"));
  apply->setAccessibleName(tr("Apply %1").arg(name));
  auto* remove = new QPushButton(tr("Delete"));
  remove->setAccessibleName(tr("Delete %1").arg(name));
  layout->addWidget(title, 0, 0);
  layout->addWidget(new QLabel(tr("%n app(s)", nullptr, apps)), 0, 1);
  layout->addWidget(apply, 0, 2);
  layout->addWidget(remove, 0, 3);
  layout->setColumnStretch(0, 1);
  connect(apply, &QPushButton::clicked, this, [this, name] { model_.apply(name); });
  connect(remove, &QPushButton::clicked, this, [this, name] { model_.remove(name); });
  list_->addWidget(row);
  return row;
}

// The topic tells every change of the routing; rows are made anew where the profiles differ.
void ProfilesCard::refresh() {
  QStringList wanted;
  for (const ProfileState& profile : model_.profiles())
    wanted << QString::fromStdString(profile.id + ' ' + profile.name + ' ' +
                                     std::to_string(profile.apps.size()));
  if (wanted != shown_) {
    for (QWidget* row : rows_) row->deleteLater();
    rows_.clear();
    for (const ProfileState& profile : model_.profiles())
      rows_.push_back(makeRow(QString::fromStdString(profile.name), static_cast<int>(profile.apps.size())));
    shown_ = wanted;
    tabInOrder(*this);
    name_->clear();
  }
  empty_->setVisible(rows_.empty());
}

}  // namespace sonmere
