#pragma once

#include <QFrame>

class QLabel;
class QPushButton;

namespace sonmere {

// One line across the window that tells of something that holds for all of it, with a button that helps.
class Banner : public QFrame {
  Q_OBJECT

 public:
  explicit Banner(QWidget* parent = nullptr);

  // An empty action has no button.
  void tell(const QString& text, const QString& action);

 signals:
  void actionChosen();

 private:
  QLabel* text_;
  QPushButton* action_;
};

}  // namespace sonmere
