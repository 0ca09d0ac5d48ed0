#include "ui/pages/InputPage.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "audio/device/BusTable.h"
#include "ui/model/InputModel.h"
#include "ui/model/VolumeWords.h"
#include "ui/theme/Icons.h"
#include "ui/widgets/EqualiserPanel.h"
#include "ui/widgets/ExtraInputRow.h"
#include "ui/widgets/GainSlider.h"
#include "ui/widgets/Meter.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"
#include "ui/widgets/VolumeField.h"

namespace sonmere {
namespace {

constexpr float kMostGain = 2;

// The entry with this data; -1 for none.
void showChoice(QComboBox* box, const QString& data) {
  const QSignalBlocker quiet(box);
  box->setCurrentIndex(box->findData(data));
}

}  // namespace

InputPage::InputPage(InputModel& model, QWidget* parent)
    : QWidget(parent),
      model_(model),
      enabled_(new QPushButton(tr("Microphone"))),
      state_(new QLabel),
      note_(new NoteLabel),
      device_(new QComboBox),
      channels_(new QComboBox),
      before_(new Meter),
      after_(new Meter),
      slider_(new GainSlider),
      volume_(new VolumeField),
      effects_(new QToolButton),
      equaliser_(new EqualiserPanel),
      limiter_(new QToolButton),
      ceiling_(new QDoubleSpinBox),
      lockDevice_(new QComboBox),
      lock_(new QToolButton),
      lockState_(new QLabel) {
  auto* content = new QWidget;
  auto* layout = new QVBoxLayout(content);
  layout->setContentsMargins(2 * kGrid, 2 * kGrid, 2 * kGrid, 2 * kGrid);
  layout->setSpacing(kGrid);
  for (QWidget* part : {buildSource(), buildSound(), buildSends(), buildExtras(), buildLock()})
    layout->addWidget(part);
  layout->addStretch(1);
  auto* whole = new QVBoxLayout(this);
  whole->setContentsMargins(0, 0, 0, 0);
  whole->addWidget(scrolled(content));
  connect(&model_, &InputModel::changed, this, &InputPage::refresh);
  connect(&model_, &InputModel::metered, this, &InputPage::refreshMeters);
  connect(&model_, &InputModel::answered, this, &InputPage::say);
  refresh();
}

QWidget* InputPage::buildSource() {
  auto* box = new QWidget;
  QGridLayout* layout = gridIn(box);
  layout->setContentsMargins(0, 0, 0, 0);
  enabled_->setCheckable(true);
  enabled_->setIcon(themedIcon(QStringLiteral("input"), ColourRole::text));
  enabled_->setMinimumHeight(5 * kGrid);
  state_->setForegroundRole(QPalette::PlaceholderText);
  for (const auto& [key, text] : {std::pair{"auto", tr("Automatic")},
                                  {"1", tr("Input 1")},
                                  {"2", tr("Input 2")},
                                  {"stereo", tr("Inputs 1 and 2 as stereo")}})
    channels_->addItem(text, QString::fromLatin1(key));
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(state_, 0, 1, 1, 3);
  layout->addWidget(note_, 1, 0, 1, 4);
  layout->addWidget(labelFor(tr("Device"), device_), 2, 0);
  layout->addWidget(device_, 2, 1);
  layout->addWidget(labelFor(tr("Channels"), channels_), 2, 2);
  layout->addWidget(channels_, 2, 3);
  layout->setColumnStretch(1, 3);
  layout->setColumnStretch(3, 2);
  connect(enabled_, &QPushButton::clicked, &model_, &InputModel::setEnabled);
  connect(device_, &QComboBox::activated, this, [this] { model_.select(device_->currentData().toString()); });
  connect(channels_, &QComboBox::activated, this,
          [this] { model_.setChannels(channels_->currentData().toString()); });
  return box;
}

QWidget* InputPage::buildSound() {
  auto* box = new QGroupBox(tr("Sound"));
  QGridLayout* layout = gridIn(box);
  slider_->setMaximumGain(kMostGain);
  slider_->setAccessibleName(tr("Volume of the microphone"));
  before_->setAccessibleName(tr("Level of the microphone as it comes"));
  after_->setAccessibleName(tr("Level of the microphone as others hear it"));
  effects_->setCheckable(true);
  effects_->setText(tr("Equaliser"));
  equaliser_->hide();
  limiter_->setCheckable(true);
  limiter_->setText(tr("Limiter"));
  ceiling_->setRange(-12, 0);
  ceiling_->setDecimals(1);
  ceiling_->setSingleStep(0.5);
  ceiling_->setSuffix(tr(" dBFS"));
  ceiling_->setKeyboardTracking(false);
  ceiling_->setAccessibleName(tr("Limiter ceiling"));
  layout->addWidget(new QLabel(tr("As it comes")), 0, 0);
  layout->addWidget(before_, 0, 1);
  layout->addWidget(new QLabel(tr("As others hear it")), 1, 0);
  layout->addWidget(after_, 1, 1);
  layout->addWidget(labelFor(tr("Volume"), slider_), 2, 0);
  layout->addWidget(slider_, 2, 1);
  layout->addWidget(volume_, 2, 2);
  layout->addWidget(effects_, 2, 3);
  layout->addWidget(limiter_, 1, 3);
  layout->addWidget(ceiling_, 1, 2);
  auto* plugins = new QToolButton;
  plugins->setText(tr("Plug-ins…"));
  connect(plugins, &QToolButton::clicked, this, &InputPage::pluginsWanted);
  layout->addWidget(plugins, 0, 3);
  layout->addWidget(equaliser_, 3, 0, 1, 4);
  layout->setColumnStretch(1, 1);
  connect(slider_, &GainSlider::gainChosen, this, [this](float gain) {
    volume_->showGain(gain);
    model_.setVolume(gain);
  });
  connect(volume_, &VolumeField::typed, this, [this](const QString& text) {
    const auto gain = gainFromWords(text);
    gain ? model_.setVolume(*gain) : say(gain.error(), true);
  });
  connect(effects_, &QToolButton::toggled, equaliser_, &QWidget::setVisible);
  connect(equaliser_, &EqualiserPanel::edited, &model_, &InputModel::setEqualiser);
  connect(limiter_, &QToolButton::clicked, this, &InputPage::chooseLimiter);
  connect(ceiling_, &QDoubleSpinBox::valueChanged, this, [this] {
    limiter_->setChecked(true);
    chooseLimiter();
  });
  return box;
}

void InputPage::chooseLimiter() {
  model_.setLimiter(limiter_->isChecked() ? std::optional(ceiling_->value()) : std::nullopt);
}

QWidget* InputPage::buildSends() {
  auto* box = new QGroupBox(tr("Also into Tracks"));
  sends_ = gridIn(box);
  return box;
}

void InputPage::setBuses(const std::vector<RouteTarget>& buses) {
  for (const RouteTarget& bus : buses) {
    const int number = bus.key.toInt();
    if (number < kFirstTrackBus) continue;
    GainSlider*& slider = sendSliders_[number];
    if (!slider) {
      slider = new GainSlider;
      slider->setMaximumGain(kMostGain);
      slider->setMinimumWidth(80);
      connect(slider, &GainSlider::gainChosen, this,
              [this, number](float gain) { model_.setSend(number, gain); });
      const int at = number - kFirstTrackBus;
      auto* label = labelFor({}, slider);
      label->setObjectName(QStringLiteral("send%1").arg(number));
      sends_->addWidget(label, 2 * (at / 4), at % 4);
      sends_->addWidget(slider, 2 * (at / 4) + 1, at % 4);
    }
    slider->setAccessibleName(tr("Microphone into %1").arg(bus.name));
    if (auto* label = findChild<QLabel*>(QStringLiteral("send%1").arg(number))) label->setText(bus.name);
  }
  tabInOrder(*this);
  refresh();
}

QWidget* InputPage::buildExtras() {
  auto* box = new QGroupBox(tr("Additional inputs"));
  auto* layout = new QVBoxLayout(box);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  extras_ = new QVBoxLayout;
  layout->addLayout(extras_);
  auto* line = new QHBoxLayout;
  auto* channel = new QDoubleSpinBox;
  channel->setDecimals(0);
  channel->setRange(1, 64);
  channel->setPrefix(tr("Channel "));
  channel->setAccessibleName(tr("Channel of the new input"));
  auto* name = new QLineEdit;
  name->setPlaceholderText(tr("Name"));
  name->setAccessibleName(tr("Name of the new input"));
  auto* add = new QPushButton(tr("Add"));
  line->addWidget(channel);
  line->addWidget(name, 1);
  line->addWidget(add);
  layout->addLayout(line);
  connect(add, &QPushButton::clicked, this, [this, channel, name] {
    model_.addExtra(int(channel->value()), name->text());
    name->clear();
  });
  return box;
}

QWidget* InputPage::buildLock() {
  auto* box = new QGroupBox(tr("Default input"));
  QGridLayout* layout = gridIn(box);
  lock_->setCheckable(true);
  lock_->setText(tr("Keep it"));
  lockDevice_->setAccessibleName(tr("Device that stays the default input"));
  lockDevice_->setPlaceholderText(tr("Choose a device"));
  lockState_->setForegroundRole(QPalette::PlaceholderText);
  layout->addWidget(lockDevice_, 0, 0);
  layout->addWidget(lock_, 0, 1);
  layout->addWidget(lockState_, 0, 2);
  layout->setColumnStretch(0, 2);
  layout->setColumnStretch(2, 3);
  connect(lock_, &QToolButton::clicked, &model_, &InputModel::setLock);
  connect(lockDevice_, &QComboBox::activated, this,
          [this] { model_.lockTo(lockDevice_->currentData().toString()); });
  return box;
}

QString InputPage::stateText() const {
  const InputState& state = model_.state();
  if (state.isRunning && state.isOnFallback) return tr("On, until the chosen device is back");
  if (state.isRunning && state.captureRate != state.bridgeRate)
    return tr("On, converted from %1 Hz").arg(state.captureRate);
  if (state.isRunning) return tr("On: whoever reads the bridge hears you");
  if (state.isEnabled) return tr("Waiting");
  return tr("Off");
}

void InputPage::refreshDevices() {
  const InputState& state = model_.state();
  for (QComboBox* box : {device_, lockDevice_}) {
    const QSignalBlocker quiet(box);
    box->clear();
    for (const InputDeviceState& device : state.devices)
      box->addItem(QString::fromStdString(device.name), QString::fromStdString(device.id));
  }
  const auto used = std::ranges::find_if(state.devices, &InputDeviceState::isUsed);
  showChoice(device_, used == state.devices.end() ? QString() : QString::fromStdString(used->id));
  const QString locked = QString::fromStdString(state.lock.device);
  if (!locked.isEmpty() && lockDevice_->findData(locked) < 0)
    lockDevice_->addItem(tr("%1 (not connected)").arg(QString::fromStdString(state.lock.name)), locked);
  showChoice(lockDevice_, locked);
  const QString channels = QString::fromStdString(state.channels);
  if (channels_->findData(channels) < 0) channels_->addItem(tr("Inputs %1").arg(channels), channels);
  showChoice(channels_, channels);
}

void InputPage::refreshExtras() {
  std::map<std::string, ExtraInputRow*> kept;
  bool isLonger = false;
  for (const ExtraInputState& input : model_.state().extras) {
    auto& row = kept[input.id];
    if (const auto known = extraRows_.find(input.id); known != extraRows_.end()) {
      row = known->second;
      extraRows_.erase(known);
    } else {
      row = new ExtraInputRow(QString::fromStdString(input.id), model_);
      extras_->addWidget(row);
      isLonger = true;
    }
    row->show(input);
  }
  for (const auto& [id, row] : extraRows_) row->deleteLater();
  extraRows_ = std::move(kept);
  if (isLonger) tabInOrder(*this);
}

void InputPage::refresh() {
  const InputState& state = model_.state();
  enabled_->setChecked(state.isEnabled);
  state_->setText(stateText());
  refreshDevices();
  slider_->showGain(state.volume);
  volume_->showGain(state.volume);
  equaliser_->showSettings(state.equaliser);
  limiter_->setChecked(state.limiter.isEnabled);
  const QSignalBlocker quiet(ceiling_);
  ceiling_->setValue(state.limiter.ceilingDb);
  for (const auto& [bus, slider] : sendSliders_) {
    const auto send = state.sends.find(bus);
    slider->showGain(send == state.sends.end() ? 0 : send->second);
  }
  refreshExtras();
  lock_->setChecked(state.lock.isEnabled);
  lock_->setEnabled(!state.lock.device.empty());
  lockState_->setText(state.lock.isBackingOff
                          ? tr("Another program fights for it, so it is left alone for a while")
                      : state.lock.restores > 0 ? tr("Brought back %n time(s)", nullptr, state.lock.restores)
                                                : QString());
  if (state.error)
    say(QString::fromStdString(*state.error), true);
  else if (state.newDevice)
    say(tr("%1 came up; choose it above to use it").arg(QString::fromStdString(*state.newDevice)), false);
  refreshMeters();
}

void InputPage::refreshMeters() {
  const auto& meters = model_.meters();
  before_->setLevel(meters ? std::optional<double>(meters->beforeDb) : std::nullopt);
  after_->setLevel(meters ? std::optional<double>(meters->afterDb) : std::nullopt,
                   meters ? meters->gainReductionDb : 0);
  for (const auto& [id, row] : extraRows_) {
    const auto peak = meters ? meters->extraPeaks.find(id) : std::map<std::string, float>::const_iterator();
    const bool isThere = meters && peak != meters->extraPeaks.end();
    row->showPeak(isThere ? std::optional(peak->second) : std::nullopt);
  }
}

void InputPage::say(const QString& text, bool isRefusal) { note_->say(text, isRefusal); }

}  // namespace sonmere
