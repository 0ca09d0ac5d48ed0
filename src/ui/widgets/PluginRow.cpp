#include "ui/widgets/PluginRow.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QToolButton>

#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/PluginControlField.h"

namespace sonmere {
namespace {

constexpr int kLabelWidth = 120;

}  // namespace

PluginRow::PluginRow(QWidget* parent)
    : QFrame(parent),
      name_(new ElidedLabel),
      state_(new QLabel),
      on_(new QToolButton),
      controls_(new QToolButton),
      up_(new QToolButton),
      down_(new QToolButton),
      remove_(new QToolButton),
      panel_(new QWidget),
      fields_(new QGridLayout(panel_)) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Window);
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid / 2, kGrid, kGrid / 2);
  layout->setHorizontalSpacing(kGrid / 2);
  QFont strong = name_->font();
  strong.setBold(true);
  name_->setFont(strong);
  name_->setMinimumWidth(72);
  state_->setForegroundRole(QPalette::PlaceholderText);
  state_->setWordWrap(true);
  state_->setTextFormat(Qt::PlainText);
  on_->setText(tr("On"));
  on_->setCheckable(true);
  controls_->setText(tr("Controls"));
  controls_->setCheckable(true);
  up_->setArrowType(Qt::UpArrow);
  down_->setArrowType(Qt::DownArrow);
  remove_->setIcon(themedIcon(QStringLiteral("trash")));
  int column = 1;
  layout->addWidget(name_, 0, 0);
  for (QToolButton* button : {on_, controls_, up_, down_, remove_}) layout->addWidget(button, 0, column++);
  layout->addWidget(state_, 1, 0, 1, column);
  layout->addWidget(panel_, 2, 0, 1, column);
  layout->setColumnStretch(0, 1);
  fields_->setContentsMargins(0, kGrid / 2, 0, kGrid / 2);
  fields_->setColumnMinimumWidth(0, kLabelWidth);
  fields_->setColumnStretch(1, 1);
  panel_->hide();
  connect(on_, &QToolButton::clicked, this, [this](bool on) { emit bypassChosen(!on); });
  connect(up_, &QToolButton::clicked, this, [this] { emit moveChosen(-1); });
  connect(down_, &QToolButton::clicked, this, [this] { emit moveChosen(1); });
  connect(remove_, &QToolButton::clicked, this, &PluginRow::removeChosen);
  connect(controls_, &QToolButton::toggled, this, &PluginRow::openControls);
}

QString PluginRow::stateText() const {
  if (!plugin_.problem.isEmpty()) return plugin_.problem;
  if (plugin_.isAutoBypassed) return tr("bypassed, for it fails again and again");
  if (plugin_.isBypassed) return tr("bypassed");
  return plugin_.latencyMs >= 0.1 ? tr("%1 ms").arg(plugin_.latencyMs, 0, 'f', 1) : plugin_.maker;
}

void PluginRow::showPlugin(const PluginView& plugin, bool isFirst, bool isLast) {
  plugin_ = plugin;
  setAccessibleName(plugin.name);
  name_->setText(plugin.name);
  name_->setToolTip(plugin.uri);
  const bool isWell = plugin.problem.isEmpty() && !plugin.isAutoBypassed;
  QPalette colours = state_->palette();
  colours.setColor(QPalette::WindowText, themed(ColourRole::dangerText));
  state_->setPalette(isWell ? QPalette() : colours);
  state_->setForegroundRole(isWell ? QPalette::PlaceholderText : QPalette::WindowText);
  state_->setText(stateText());
  state_->setVisible(!state_->text().isEmpty());
  on_->setChecked(!plugin.isBypassed);
  on_->setAccessibleName(tr("%1 on").arg(plugin.name));
  controls_->setAccessibleName(tr("Controls of %1").arg(plugin.name));
  for (const auto& [button, text, able] : {std::tuple{up_, tr("Move %1 up").arg(plugin.name), !isFirst},
                                           {down_, tr("Move %1 down").arg(plugin.name), !isLast},
                                           {remove_, tr("Remove %1").arg(plugin.name), true}}) {
    button->setAccessibleName(text);
    button->setToolTip(text);
    button->setEnabled(able);
  }
  showValues();
}

void PluginRow::openControls(bool shown) {
  controls_->setChecked(shown);
  panel_->setVisible(shown);
  if (shown && !isBuilt_) emit infoWanted();
}

void PluginRow::showInfo(const PluginInfoView& info) {
  if (std::exchange(isBuilt_, true)) return;
  buildControls(info);
  showValues();
}

void PluginRow::buildControls(const PluginInfoView& info) {
  int line = 0;
  const auto label = [this](const QString& text, QWidget* buddy) {
    auto* made = new ElidedLabel;
    made->setText(text);
    made->setToolTip(text);
    made->setBuddy(buddy);
    return made;
  };
  if (!info.presets.isEmpty()) {
    auto* presets = new QComboBox;
    presets->setPlaceholderText(tr("Choose a preset"));
    presets->addItems(info.presets);
    presets->setCurrentIndex(-1);
    presets->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    presets->setAccessibleName(tr("Preset of %1").arg(plugin_.name));
    connect(presets, &QComboBox::activated, this,
            [this, presets] { emit presetChosen(presets->currentText()); });
    fields_->addWidget(label(tr("Preset"), presets), line, 0);
    fields_->addWidget(presets, line++, 1, 1, 2);
  }
  for (const PluginControlView& control : info.controls) {
    auto* field = new PluginControlField(control);
    auto* range = new QLabel(field->rangeText());
    range->setForegroundRole(QPalette::PlaceholderText);
    fields_->addWidget(label(control.name, field), line, 0);
    fields_->addWidget(field, line, 1);
    fields_->addWidget(range, line++, 2);
    bySymbol_[control.symbol] = field;
    connect(field, &PluginControlField::chosen, this,
            [this, symbol = control.symbol](double value) { emit controlChosen(symbol, value); });
  }
  if (line == 0) fields_->addWidget(new QLabel(tr("It has no controls.")), 0, 0, 1, 3);
}

// What is not told is as the plug-in begins: the row may have shown another one of its kind before.
void PluginRow::showValues() {
  for (const auto& [symbol, field] : bySymbol_) {
    const auto told = plugin_.values.find(symbol);
    field->showValue(told == plugin_.values.end() ? field->initialValue() : told->second);
  }
}

}  // namespace sonmere
