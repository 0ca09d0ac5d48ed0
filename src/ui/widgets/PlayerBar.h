#pragma once

#include <QWidget>

class QLabel;
class QSlider;
class QToolButton;

namespace sonmere {

class Player;

// What plays in the library: play and pause, the place in it, the time.
class PlayerBar : public QWidget {
  Q_OBJECT

 public:
  explicit PlayerBar(Player& player, QWidget* parent = nullptr);

  // What the play button is for while nothing is held.
  void setChosen(const QString& path);
  void toggle();

 private:
  void refresh();

  Player& player_;
  QToolButton* play_;
  QLabel* name_;
  QSlider* place_;
  QLabel* time_;
  QString chosen_;
};

}  // namespace sonmere
