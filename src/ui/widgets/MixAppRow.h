#pragma once

#include <QFrame>

#include "control/MixState.h"

class QToolButton;

namespace sonmere {

class ElidedLabel;
class GainBox;

// A routed app in the mix: how loud the user hears it, how loud it is recorded, and whether both are one.
class MixAppRow : public QFrame {
  Q_OBJECT

 public:
  explicit MixAppRow(QWidget* parent = nullptr);

  void showApp(const MixState::App& app);

 signals:
  void hearChosen(float gain);
  void streamChosen(float gain);
  void linkChosen(bool linked);
  void refused(const QString& why);

 private:
  ElidedLabel* name_;
  GainBox *hear_, *stream_;
  QToolButton* link_;
};

}  // namespace sonmere
