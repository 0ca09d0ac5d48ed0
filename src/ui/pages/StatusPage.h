#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QTableWidget;

namespace sonmere {

class StatusModel;

// The program at a glance, the devices, and the diagnostic report.
class StatusPage : public QWidget {
  Q_OBJECT

 public:
  explicit StatusPage(StatusModel& model, QWidget* parent = nullptr);

 private:
  void refresh();

  StatusModel& model_;
  QLabel* summary_;
  QTableWidget* devices_;
  QPlainTextEdit* report_;
};

}  // namespace sonmere
