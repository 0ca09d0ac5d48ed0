#include "ui/pages/SettingsPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>

#include "ui/model/SettingsModel.h"
#include "ui/theme/Theme.h"

namespace sonmere {
namespace {

QString asText(const ControlJSON& value) {
  return value.is_string() ? QString::fromStdString(value.get<std::string>()) : QString();
}

}  // namespace

SettingsPage::SettingsPage(SettingsModel& model, QWidget* parent)
    : QWidget(parent), model_(model), search_(new QLineEdit), list_(new QVBoxLayout) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  search_->setPlaceholderText(tr("Search settings"));
  search_->setAccessibleName(tr("Search settings"));
  search_->setClearButtonEnabled(true);
  layout->addWidget(search_);
  auto* content = new QWidget;
  auto* column = new QVBoxLayout(content);
  column->addLayout(list_);
  column->addStretch(1);
  auto* scroll = new QScrollArea;
  scroll->setWidgetResizable(true);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setFocusPolicy(Qt::NoFocus);
  scroll->setWidget(content);
  layout->addWidget(scroll, 1);
  connect(search_, &QLineEdit::textChanged, this, &SettingsPage::filter);
  connect(&model_, &SettingsModel::changed, this, &SettingsPage::refresh);
  connect(&model_, &SettingsModel::answered, this, &SettingsPage::answer);
  refresh();
}

void SettingsPage::refresh() {
  for (const ShownSetting& setting : model_.settings()) {
    auto found = rows_.find(setting.key);
    if (found == rows_.end()) {
      found = rows_.emplace(setting.key, makeRow(setting)).first;
      list_->addWidget(found->second.whole);
    }
    found->second.show(setting);
    found->second.reset->setEnabled(setting.isChanged);
  }
}

void SettingsPage::filter(const QString& text) {
  for (const auto& [key, row] : rows_) row.whole->setVisible(row.words.contains(text, Qt::CaseInsensitive));
}

SettingsPage::Row SettingsPage::makeRow(const ShownSetting& setting) {
  Row row;
  row.whole = new QWidget;
  row.words = setting.meaning + QLatin1Char(' ') + setting.key;
  auto* layout = new QGridLayout(row.whole);
  layout->setContentsMargins(0, kGrid / 2, 0, kGrid / 2);
  auto* label = new QLabel(setting.meaning);
  label->setWordWrap(true);
  auto* when = new QLabel(setting.effect);
  when->setForegroundRole(QPalette::PlaceholderText);
  QWidget* control = makeControl(setting, row);
  control->setAccessibleName(setting.meaning);
  label->setBuddy(control);
  row.reset = new QToolButton;
  row.reset->setText(tr("Reset"));
  row.reset->setAccessibleName(tr("Reset: %1").arg(setting.meaning));
  row.note = new QLabel;
  row.note->setWordWrap(true);
  row.note->hide();
  layout->addWidget(label, 0, 0);
  layout->addWidget(when, 1, 0);
  layout->addWidget(control, 0, 1);
  layout->addWidget(row.reset, 0, 2);
  layout->addWidget(row.note, 1, 1, 1, 2);
  layout->setColumnStretch(0, 1);
  connect(row.reset, &QToolButton::clicked, this, [this, key = setting.key] { model_.reset(key); });
  return row;
}

QWidget* SettingsPage::makeControl(const ShownSetting& setting, Row& row) {
  const QString key = setting.key;
  if (setting.kind == QLatin1String("flag")) {
    auto* box = new QCheckBox;
    connect(box, &QCheckBox::clicked, this, [this, key](bool on) { model_.set(key, on); });
    row.show = [box](const ShownSetting& now) {
      box->setChecked(now.value.is_boolean() && now.value.get<bool>());
    };
    return box;
  }
  if (setting.kind == QLatin1String("choice")) {
    auto* box = new QComboBox;
    box->addItems(setting.choices);
    connect(box, &QComboBox::textActivated, this,
            [this, key](const QString& text) { model_.set(key, text.toStdString()); });
    row.show = [box](const ShownSetting& now) { box->setCurrentText(asText(now.value)); };
    return box;
  }
  if (setting.kind == QLatin1String("number")) {
    auto* box = new QDoubleSpinBox;
    box->setRange(setting.lowest, setting.highest);
    box->setSingleStep(0.1);
    box->setKeyboardTracking(false);
    connect(box, &QDoubleSpinBox::valueChanged, this, [this, key](double value) { model_.set(key, value); });
    row.show = [box](const ShownSetting& now) {
      const QSignalBlocker quiet(box);
      if (now.value.is_number()) box->setValue(now.value.get<double>());
    };
    return box;
  }
  auto* button = new QToolButton;
  button->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
  connect(button, &QToolButton::clicked, this, [this, key, button] {
    const QString folder = QFileDialog::getExistingDirectory(this, tr("Choose a folder"), button->toolTip());
    if (!folder.isEmpty()) model_.set(key, folder.toStdString());
  });
  row.show = [button](const ShownSetting& now) {
    const QString folder = asText(now.value);
    button->setToolTip(folder);
    button->setText(folder.isEmpty() ? tr("Choose…")
                                     : button->fontMetrics().elidedText(folder, Qt::ElideMiddle, 260));
  };
  return button;
}

void SettingsPage::answer(const QString& key, const QString& text, bool isRefusal) {
  const auto found = rows_.find(key);
  if (found == rows_.end()) return;
  QLabel* note = found->second.note;
  QPalette colours = note->palette();
  colours.setColor(QPalette::WindowText,
                   themed(isRefusal ? ColourRole::dangerText : ColourRole::warningText));
  note->setPalette(colours);
  note->setText(text);
  note->setVisible(!text.isEmpty());
}

}  // namespace sonmere
