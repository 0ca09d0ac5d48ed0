#include "ui/widgets/MixCard.h"

#include <QCheckBox>
#include <QPushButton>
#include <QToolButton>

#include "audio/device/BusTable.h"
#include "ui/model/BusesModel.h"
#include "ui/model/MixModel.h"
#include "ui/model/SystemAudioModel.h"
#include "ui/theme/Icons.h"
#include "ui/widgets/GainBox.h"
#include "ui/widgets/MixAppRow.h"
#include "ui/widgets/MonitorStrip.h"
#include "ui/widgets/NoteLabel.h"
#include "ui/widgets/PageLayouts.h"

namespace sonmere {
namespace {

constexpr int kTracks = kBusCount - kFirstTrackBus;

}  // namespace

MixCard::MixCard(MixModel& model, MonitorModel& monitor, SystemAudioModel& system, BusesModel& buses,
                 QWidget* parent)
    : QGroupBox(tr("Mix Mode"), parent),
      model_(model),
      system_(system),
      buses_(buses),
      enabled_(new QPushButton(tr("Mix Mode"))),
      state_(wordsLabel()),
      audition_(new QPushButton(tr("Audition recording"))),
      note_(new NoteLabel),
      apps_(new QVBoxLayout),
      empty_(wordsLabel(tr("Nothing is routed. Route an app to a Track or the Bridge on the page Apps."))),
      rest_(new QCheckBox(tr("Include system audio"))),
      restVolume_(new GainBox(1)),
      restState_(wordsLabel()),
      hearsTracks_(new QCheckBox(tr("Hear Tracks that other programs feed"))),
      tracks_(nullptr) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(kGrid, kGrid, kGrid, kGrid);
  layout->setSpacing(kGrid);
  layout->addWidget(buildSwitches());
  layout->addWidget(note_);
  layout->addWidget(new MonitorStrip(monitor));
  apps_->setSpacing(kGrid / 2);
  layout->addLayout(apps_);
  layout->addWidget(empty_);
  layout->addWidget(buildRest());
  layout->addWidget(hearsTracks_);
  tracks_ = buildTracks();
  layout->addWidget(tracks_);
  connect(hearsTracks_, &QCheckBox::clicked, &model_, &MixModel::setHearsTracks);
  connect(&model_, &MixModel::changed, this, &MixCard::refresh);
  connect(&model_, &MixModel::answered, note_, &NoteLabel::say);
  connect(&system_, &SystemAudioModel::changed, this, &MixCard::refresh);
  connect(&buses_, &BusesModel::changed, this, &MixCard::refreshTracks);
  refresh();
}

QWidget* MixCard::buildSwitches() {
  auto* box = new QWidget;
  QGridLayout* layout = gridIn(box);
  layout->setContentsMargins(0, 0, 0, 0);
  enabled_->setCheckable(true);
  enabled_->setToolTip(tr("Hear what is recorded or streamed, each app as loud as you like"));
  audition_->setCheckable(true);
  audition_->setToolTip(
      tr("Tap to audition the recording mix. Every unlinked app temporarily uses its stream level so you can "
         "verify how your output will sound."));
  layout->addWidget(enabled_, 0, 0);
  layout->addWidget(state_, 0, 1);
  layout->addWidget(audition_, 0, 2);
  layout->setColumnStretch(1, 1);
  connect(enabled_, &QPushButton::clicked, &model_, &MixModel::setEnabled);
  connect(audition_, &QPushButton::clicked, &model_, &MixModel::setAudition);
  return box;
}

QWidget* MixCard::buildRest() {
  auto* box = new QWidget;
  QGridLayout* layout = gridIn(box);
  layout->setContentsMargins(0, 0, 0, 0);
  restVolume_->setName(tr("How loud you hear what is not routed"));
  layout->addWidget(rest_, 0, 0);
  layout->addWidget(restVolume_, 0, 1);
  layout->addWidget(restState_, 1, 0, 1, 2);
  layout->setColumnStretch(1, 1);
  connect(rest_, &QCheckBox::clicked, &model_, &MixModel::setCatchAll);
  connect(restVolume_, &GainBox::gainChosen, &model_, &MixModel::setCatchAllVolume);
  connect(restVolume_, &GainBox::refused, this, [this](const QString& why) { note_->say(why, true); });
  return box;
}

QWidget* MixCard::buildTracks() {
  auto* box = new QWidget;
  QGridLayout* layout = gridIn(box);
  layout->setContentsMargins(0, 0, 0, 0);
  for (int track = 1; track <= kTracks; ++track) {
    const TrackRow row = makeTrack(track);
    const int line = (track - 1) / 2, column = 3 * ((track - 1) % 2);
    layout->addWidget(row.name, line, column);
    layout->addWidget(row.volume, line, column + 1);
    layout->addWidget(row.mute, line, column + 2);
    layout->setColumnStretch(column + 1, 1);
  }
  return box;
}

MixCard::TrackRow MixCard::makeTrack(int track) {
  TrackRow row{new QLabel, new GainBox(1), new QToolButton};
  row.mute->setCheckable(true);
  row.mute->setToolTip(tr("Silence this DAW track in your monitor mix (recording unaffected)"));
  connect(row.volume, &GainBox::gainChosen, this,
          [this, track](float gain) { model_.setTrackVolume(track, gain); });
  connect(row.volume, &GainBox::refused, this, [this](const QString& why) { note_->say(why, true); });
  connect(row.mute, &QToolButton::clicked, this,
          [this, track](bool muted) { model_.setTrackMuted(track, muted); });
  trackRows_[track] = row;
  return row;
}

MixAppRow* MixCard::makeApp(const QString& id) {
  auto* row = new MixAppRow;
  connect(row, &MixAppRow::hearChosen, this, [this, id](float gain) { model_.setHear(id, gain); });
  connect(row, &MixAppRow::streamChosen, this, [this, id](float gain) { model_.setStream(id, gain); });
  connect(row, &MixAppRow::linkChosen, this, [this, id](bool linked) { model_.setLinked(id, linked); });
  connect(row, &MixAppRow::refused, this, [this](const QString& why) { note_->say(why, true); });
  return row;
}

QString MixCard::stateText() const {
  const MixState& state = model_.state();
  if (state.isForbidden)
    return tr(
        "Forbidden by the setting sonmere.mixMode.disabled. To allow it: sonmere settings reset "
        "sonmere.mixMode.disabled");
  if (!state.isEnabled) return tr("Off: you hear apps as they are routed");
  if (state.isAuditioning) return tr("On: you hear every app as loud as it is recorded");
  QString text = tr("On: left is how loud you hear an app, right how loud it is recorded");
  if (state.heals > 0)
    text += QLatin1Char('\n') + tr("Brought back to life %n time(s)", nullptr, state.heals);
  return text;
}

QString MixCard::restText() const {
  const MixState& state = model_.state();
  if (system_.state().isEnabled) return tr("System Audio Passthrough must be off for this toggle to work.");
  if (state.isEnabled && state.includesCatchAll && !state.isCatchAllRunning)
    return tr("What is not routed could not be captured; it is tried again with the next change.");
  return {};
}

void MixCard::refreshApps() {
  std::map<QString, MixAppRow*> kept;
  int made = 0;
  for (const MixState::App& app : model_.state().apps) {
    const QString id = QString::fromStdString(app.id);
    MixAppRow*& row = kept[id];
    if (const auto known = appRows_.extract(id); !known.empty()) row = known.mapped();
    if (!row) {
      apps_->addWidget(row = makeApp(id));
      ++made;
    }
    row->showApp(app);
  }
  for (const auto& [id, row] : appRows_) row->deleteLater();
  appRows_ = std::move(kept);
  empty_->setVisible(appRows_.empty());
  if (made > 0) tabInOrder(*this);
}

void MixCard::refreshTracks() {
  for (const MixState::Track& each : model_.state().tracks) {
    const auto found = trackRows_.find(each.track);
    if (found == trackRows_.end()) continue;
    const QString name = buses_.nameOf(busOfTrack(each.track));
    TrackRow& row = found->second;
    row.name->setText(tr("Track %1").arg(each.track));
    row.name->setToolTip(name);
    row.volume->setName(tr("How loud you hear %1").arg(name));
    row.volume->showGain(each.volume);
    row.mute->setChecked(each.isMuted);
    row.mute->setIcon(themedIcon(each.isMuted ? QStringLiteral("speaker-off") : QStringLiteral("speaker")));
    row.mute->setAccessibleName(tr("Silence %1 in what you hear").arg(name));
  }
}

void MixCard::refresh() {
  const MixState& state = model_.state();
  const bool isExcluded = system_.state().isEnabled;
  enabled_->setChecked(state.isEnabled);
  enabled_->setEnabled(!state.isForbidden);
  state_->setText(stateText());
  audition_->setChecked(state.isAuditioning);
  audition_->setEnabled(state.isEnabled);
  rest_->setChecked(state.includesCatchAll);
  rest_->setEnabled(!isExcluded);
  rest_->setToolTip(isExcluded ? tr("Disable System Audio Passthrough first — these two features both try to "
                                    "capture everything your computer plays.")
                               : tr("What is not routed is heard with the rest"));
  restVolume_->showGain(state.catchAllVolume);
  restState_->setText(restText());
  restState_->setVisible(!restText().isEmpty());
  hearsTracks_->setChecked(state.hearsTracks);
  tracks_->setVisible(state.hearsTracks);
  refreshApps();
  refreshTracks();
}

}  // namespace sonmere
