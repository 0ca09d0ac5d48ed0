#include "ui/widgets/AppRow.h"

#include <QGridLayout>
#include <QLabel>
#include <QMenu>
#include <QToolButton>

#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/EffectsPanel.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/EqualiserPanel.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/Meter.h"
#include "ui/widgets/VolumeField.h"

namespace sonmere {
namespace {

QToolButton* toggle(const QString& text, const QString& description) {
  auto* button = new QToolButton;
  button->setText(text);
  button->setIconSize({18, 18});
  button->setCheckable(true);
  button->setToolTip(description);
  button->setAccessibleName(description);
  return button;
}

}  // namespace

AppRow::AppRow(const QString& id, QWidget* parent)
    : QFrame(parent),
      id_(id),
      name_(new ElidedLabel),
      state_(new ElidedLabel),
      note_(new QLabel),
      meter_(new Meter),
      slider_(new GainSlider),
      volume_(new VolumeField),
      mute_(toggle(tr("Mute"), tr("Mute"))),
      monitor_(toggle(tr("Monitor"), tr("Hear it on the monitor"))),
      effects_(toggle(tr("Effects"), tr("Show equaliser and limiter"))),
      route_(new RouteButton),
      more_(new QToolButton),
      menu_(new QMenu(this)) {
  setAutoFillBackground(true);
  setBackgroundRole(QPalette::Button);
  mute_->setIcon(themedIcon(QStringLiteral("speaker")));
  monitor_->setAutoRaise(true);
  monitor_->setIcon(themedIcon(QStringLiteral("headphones")));
  effects_->setIcon(themedIcon(QStringLiteral("effects")));
  more_->setIcon(themedIcon(QStringLiteral("more")));
  buildControls();
  buildMenu();
}

void AppRow::buildControls() {
  auto* layout = new QGridLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setHorizontalSpacing(kGrid);
  layout->setVerticalSpacing(2);
  QFont strong = name_->font();
  strong.setBold(true);
  name_->setFont(strong);
  state_->setForegroundRole(QPalette::PlaceholderText);
  name_->setMinimumWidth(72);
  layout->addWidget(name_, 0, 0);
  layout->addWidget(state_, 1, 0);
  layout->addWidget(slider_, 0, 1);
  layout->addWidget(meter_, 1, 1);
  layout->addWidget(volume_, 0, 2);
  layout->addWidget(mute_, 0, 3);
  // Under the mute, for the line above is full where the window is narrow.
  layout->addWidget(monitor_, 1, 3, Qt::AlignCenter);
  layout->addWidget(effects_, 0, 4);
  layout->addWidget(route_, 0, 5);
  layout->addWidget(more_, 0, 6);
  layout->addWidget(note_, 2, 0, 1, 7);
  layout->setColumnStretch(0, 2);
  layout->setColumnStretch(1, 3);
  note_->setWordWrap(true);
  note_->setTextFormat(Qt::PlainText);
  note_->hide();
  connect(slider_, &GainSlider::gainChosen, this, [this](float gain) {
    volume_->showGain(gain);
    emit volumeChosen(id_, gain);
  });
  connect(volume_, &VolumeField::typed, this, [this](const QString& text) { emit volumeTyped(id_, text); });
  connect(mute_, &QToolButton::clicked, this, [this](bool on) { emit muteChosen(id_, on); });
  connect(monitor_, &QToolButton::clicked, this, [this](bool on) { emit monitorChosen(id_, on); });
  connect(effects_, &QToolButton::toggled, this, &AppRow::showEffects);
  connect(route_, &RouteButton::chosen, this, [this](const QString& key) { emit routeChosen(id_, key); });
}

// Made when they are first asked for: a row has many controls, and few of them are opened.
void AppRow::showEffects(bool shown) {
  if (!effectsPanel_) {
    effectsPanel_ = new EffectsPanel;
    effectsPanel_->hide();
    static_cast<QGridLayout*>(layout())->addWidget(effectsPanel_, 3, 0, 1, 7);
    connect(effectsPanel_, &EffectsPanel::equaliserChosen, this,
            [this](const AppEQSettings& settings) { emit equaliserChosen(id_, settings); });
    connect(effectsPanel_, &EffectsPanel::limiterChosen, this,
            [this](std::optional<double> ceilingDb) { emit limiterChosen(id_, ceilingDb); });
    connect(effectsPanel_, &EffectsPanel::pluginsWanted, this, [this] { emit pluginsWanted(id_); });
    emit effectsMade(id_, &effectsPanel_->equaliser());
    showApp(AppState(app_));
  }
  effectsPanel_->setVisible(shown);
}

void AppRow::buildMenu() {
  more_->setPopupMode(QToolButton::InstantPopup);
  more_->setMenu(menu_);
  more_->setToolTip(tr("More"));
  more_->setAccessibleName(tr("More"));
  connect(menu_, &QMenu::aboutToShow, this, [this] {
    menu_->clear();
    menu_->addAction(tr("Plug-ins…"), this, [this] { emit pluginsWanted(id_); });
    const auto add = [this](const QString& text, const QString& change) {
      menu_->addAction(text, this, [this, change] { emit rowChosen(id_, change); });
    };
    app_.isPinned ? add(tr("Unpin"), QStringLiteral("unpin"))
                  : add(tr("Pin to the list"), QStringLiteral("pin"));
    app_.isHidden ? add(tr("Show again"), QStringLiteral("unhide")) : add(tr("Hide"), QStringLiteral("hide"));
    add(tr("Remove from the list"), QStringLiteral("remove"));
  });
}

void AppRow::setTargets(const std::vector<RouteTarget>& targets) { route_->setTargets(targets); }

void AppRow::showMonitored(bool monitored) { monitor_->setChecked(monitored); }

void AppRow::setMaximumGain(float gain) {
  if (slider_->maximumGain() != gain) slider_->setMaximumGain(gain);
}

void AppRow::showMeters(const AppMeters& meters) {
  app_.meters = meters;
  meter_->setLevel(meters.levelDb, meters.gainReductionDb);
  if (const QString state = stateText(); state != state_->text()) state_->setText(state);
}

QString AppRow::stateText() const {
  if (app_.isRouteWaiting) return tr("routed when it plays");
  if (!app_.isRunning) return tr("not running");
  if (app_.control == "direct") return tr("untouched");
  if (app_.control == "hidden") return tr("hidden, untouched");
  if (app_.output && !app_.output->isPlaying) return tr("its device is away: on its bus");
  if (app_.control == "routed") {
    const double delay = app_.meters.addedDelayMs;
    return delay < 0.5 ? tr("routed") : tr("routed, %1 ms late").arg(qRound(delay));
  }
  if (app_.control == "mixer") return tr("playing");
  return tr("not controlled");
}

QString AppRow::targetKey() const {
  if (app_.output) return kDeviceTarget + QString::fromStdString(app_.output->device);
  if (app_.bus) return QString::number(*app_.bus);
  return app_.control == "direct" ? QStringLiteral("direct") : QStringLiteral("default");
}

void AppRow::showApp(const AppState& app) {
  const AppMeters meters = app_.meters;
  app_ = app;
  app_.meters = meters;
  const QString name = QString::fromStdString(app.name);
  name_->setText(name);
  name_->setToolTip(id_);
  setAccessibleName(name);
  state_->setText(stateText());
  slider_->showGain(app.volume);
  slider_->setAccessibleName(tr("Volume of %1").arg(name));
  volume_->showGain(app.volume);
  mute_->setChecked(app.isMuted);
  mute_->setIcon(themedIcon(app.isMuted ? QStringLiteral("speaker-off") : QStringLiteral("speaker")));
  mute_->setAccessibleName(tr("Mute %1").arg(name));
  monitor_->setAccessibleName(tr("Hear %1 on the monitor").arg(name));
  // What is not routed is heard by itself.
  monitor_->setVisible(app.bus.has_value());
  effects_->setAccessibleName(tr("Equaliser and limiter of %1").arg(name));
  more_->setAccessibleName(tr("More for %1").arg(name));
  route_->showTarget(targetKey(), app.output ? QString::fromStdString(app.output->name) : QString());
  if (effectsPanel_) effectsPanel_->showApp(app);
  if (said_.isEmpty()) say({}, false);
  const bool canBeShaped = app.control != "direct" && app.control != "hidden";
  for (QWidget* control : {static_cast<QWidget*>(slider_), static_cast<QWidget*>(volume_),
                           static_cast<QWidget*>(mute_), static_cast<QWidget*>(effectsPanel_)}) {
    if (control) control->setEnabled(canBeShaped);
  }
}

void AppRow::showHints() {
  QStringList lines;
  for (const std::string& hint : app_.hints) lines << QString::fromStdString(hint);
  note_->setText(lines.join(QLatin1Char('\n')));
  note_->setVisible(!lines.isEmpty());
}

void AppRow::say(const QString& text, bool isRefusal) {
  QPalette colours = note_->palette();
  colours.setColor(QPalette::WindowText,
                   themed(isRefusal ? ColourRole::dangerText : ColourRole::warningText));
  note_->setPalette(colours);
  said_ = text;
  if (text.isEmpty()) return showHints();
  note_->setText(text);
  note_->show();
}

}  // namespace sonmere
