#include "ui/widgets/PresetsCard.h"

#include <QComboBox>
#include <QFileDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QSignalBlocker>

#include "ui/model/AppsModel.h"
#include "ui/model/BusesModel.h"
#include "ui/model/PresetsModel.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr int kLinesShown = 4;

QString wordsFor(const PresetsModel::Entry& entry) {
  if (!entry.problem.isEmpty()) return PresetsCard::tr("%1: can't be used").arg(entry.name);
  if (entry.isRouting) return PresetsCard::tr("%1: routes of %n app(s)", nullptr, entry.apps).arg(entry.name);
  return PresetsCard::tr("%1: equaliser").arg(entry.name);
}

}  // namespace

PresetsCard::PresetsCard(PresetsModel& model, AppsModel& apps, BusesModel& buses, QWidget* parent)
    : QGroupBox(tr("Presets"), parent),
      model_(model),
      apps_(apps),
      buses_(buses),
      list_(new QListWidget),
      scope_(new QComboBox),
      name_(new QLineEdit),
      note_(new NoteLabel) {
  QGridLayout* layout = gridIn(this);
  list_->setAccessibleName(tr("Presets"));
  list_->setFixedHeight(kLinesShown * (list_->fontMetrics().height() + kGrid));
  scope_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
  scope_->setMinimumContentsLength(12);
  name_->setPlaceholderText(tr("Name"));
  name_->setAccessibleName(tr("Name of the new preset"));
  layout->addWidget(wordsLabel(tr("Equalisers and routings as files that you can give to others.")), 0, 0, 1,
                    4);
  layout->addWidget(list_, 1, 0, 1, 4);
  buildButtons(*layout);
  layout->addWidget(note_, 4, 0, 1, 4);
  layout->setColumnStretch(1, 1);
  connect(&model_, &PresetsModel::changed, this, &PresetsCard::refresh);
  connect(&model_, &PresetsModel::answered, note_, &NoteLabel::say);
  connect(&apps_, &AppsModel::appsChanged, this, &PresetsCard::offerScopes);
  connect(&buses_, &BusesModel::changed, this, &PresetsCard::offerScopes);
  offerScopes();
}

void PresetsCard::buildButtons(QGridLayout& layout) {
  auto* load = new QPushButton(tr("Load"));
  auto* remove = new QPushButton(tr("Delete"));
  remove->setAccessibleName(tr("Delete the chosen preset"));
  auto* save = new QPushButton(tr("Save"));
  save->setAccessibleName(tr("Save as a preset"));
  auto* import = new QPushButton(tr("Import…"));
  layout.addWidget(labelFor(tr("Of"), scope_), 2, 0);
  layout.addWidget(scope_, 2, 1);
  layout.addWidget(load, 2, 2);
  layout.addWidget(remove, 2, 3);
  layout.addWidget(name_, 3, 0, 1, 2);
  layout.addWidget(save, 3, 2);
  layout.addWidget(import, 3, 3);
  connect(load, &QPushButton::clicked, this, &PresetsCard::load);
  connect(list_, &QListWidget::itemActivated, this, &PresetsCard::load);
  connect(remove, &QPushButton::clicked, this, &PresetsCard::remove);
  connect(save, &QPushButton::clicked, this, &PresetsCard::save);
  connect(name_, &QLineEdit::returnPressed, this, &PresetsCard::save);
  connect(import, &QPushButton::clicked, this, &PresetsCard::import);
}

void PresetsCard::refresh() {
  const QString before = chosen();
  list_->clear();
  for (const PresetsModel::Entry& entry : model_.entries()) {
    auto* item = new QListWidgetItem(wordsFor(entry), list_);
    item->setData(Qt::UserRole, entry.name);
    item->setToolTip(entry.problem);
    if (entry.name == before) list_->setCurrentItem(item);
  }
}

void PresetsCard::offerScopes() {
  std::vector<std::pair<QString, QString>> wanted = {{QStringLiteral("output"), tr("All that plays")},
                                                     {QStringLiteral("mic"), tr("The microphone")},
                                                     {QStringLiteral("routing"), tr("All routes")}};
  for (const RouteTarget& bus : buses_.routable())
    wanted.emplace_back(QStringLiteral("bus:") + bus.key, bus.name);
  for (const AppState& app : apps_.apps())
    wanted.emplace_back(QStringLiteral("app:") + QString::fromStdString(app.id),
                        QString::fromStdString(app.name));
  const QVariant before = scope_->currentData();
  const QSignalBlocker quiet(scope_);
  scope_->clear();
  for (const auto& [key, name] : wanted) scope_->addItem(name, key);
  scope_->setCurrentIndex(std::max(0, scope_->findData(before)));
}

QString PresetsCard::chosen() const {
  return list_->currentItem() ? list_->currentItem()->data(Qt::UserRole).toString() : QString();
}

void PresetsCard::load() {
  if (chosen().isEmpty()) return note_->say(tr("Choose a preset first."), true);
  model_.load(chosen(), scope_->currentData().toString());
}

void PresetsCard::save() {
  const QString name = name_->text().trimmed();
  if (name.isEmpty()) return note_->say(tr("Give it a name first."), true);
  model_.save(name, scope_->currentData().toString());
}

void PresetsCard::import() {
  const QString file = QFileDialog::getOpenFileName(this, tr("Import a preset"), {},
                                                    tr("Presets and equalisers (*.json *.txt)"));
  if (!file.isEmpty()) model_.import(file);
}

void PresetsCard::remove() {
  if (chosen().isEmpty()) return note_->say(tr("Choose a preset first."), true);
  model_.remove(chosen());
}

}  // namespace sonmere
