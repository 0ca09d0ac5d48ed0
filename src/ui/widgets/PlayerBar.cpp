#include "ui/widgets/PlayerBar.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QToolButton>

#include "ui/model/LibraryTree.h"
#include "ui/theme/Icons.h"
#include "ui/theme/Theme.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/work/Player.h"

namespace sonmere {

PlayerBar::PlayerBar(Player& player, QWidget* parent)
    : QWidget(parent),
      player_(player),
      play_(new QToolButton),
      name_(new ElidedLabel),
      place_(new QSlider(Qt::Horizontal)),
      time_(new QLabel) {
  auto* layout = new QHBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(play_);
  layout->addWidget(name_, 2);
  layout->addWidget(place_, 3);
  layout->addWidget(time_);
  play_->setIconSize({20, 20});
  place_->setAccessibleName(tr("Place in the recording"));
  time_->setMinimumWidth(time_->fontMetrics().horizontalAdvance(QStringLiteral("0:00:00 / 0:00:00")));
  time_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  connect(play_, &QToolButton::clicked, this, &PlayerBar::toggle);
  connect(place_, &QSlider::valueChanged, this, [this](int tenths) { player_.seek(tenths / 10.0); });
  connect(&player_, &Player::changed, this, &PlayerBar::refresh);
  connect(&player_, &Player::moved, this, &PlayerBar::refresh);
  refresh();
}

void PlayerBar::setChosen(const QString& path) {
  chosen_ = path;
  refresh();
}

void PlayerBar::toggle() {
  if (player_.isPlaying() && (chosen_.isEmpty() || chosen_ == player_.path())) return player_.pause();
  const QString& path = chosen_.isEmpty() ? player_.path() : chosen_;
  if (!path.isEmpty()) player_.play(path);
}

void PlayerBar::refresh() {
  const bool isHeld = !player_.path().isEmpty();
  const bool pauses = player_.isPlaying() && (chosen_.isEmpty() || chosen_ == player_.path());
  play_->setIcon(themedIcon(pauses ? QStringLiteral("pause") : QStringLiteral("play")));
  play_->setToolTip(pauses ? tr("Pause (Space)") : tr("Play (Space)"));
  play_->setAccessibleName(pauses ? tr("Pause") : tr("Play"));
  play_->setEnabled(isHeld || !chosen_.isEmpty());
  name_->setText(QFileInfo(isHeld ? player_.path() : chosen_).fileName());
  const QSignalBlocker quiet(place_);
  place_->setEnabled(isHeld);
  place_->setRange(0, static_cast<int>(player_.length() * 10));
  if (!place_->isSliderDown()) place_->setValue(static_cast<int>(player_.seconds() * 10));
  time_->setText(isHeld ? tr("%1 / %2").arg(clockText(player_.seconds()), clockText(player_.length()))
                        : QString());
}

}  // namespace sonmere
