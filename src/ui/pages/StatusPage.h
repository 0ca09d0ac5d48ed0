#pragma once

#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;

namespace sonmere {

class NoteLabel;
class StatusModel;

// The program at a glance, how its routes fare, the devices, and the diagnostic report.
class StatusPage : public QWidget {
  Q_OBJECT

 public:
  explicit StatusPage(StatusModel& model, QWidget* parent = nullptr);

 private:
  void refresh();
  static QString wordFor(const std::string& verdict);
  void showRoutes();
  void showDevices();

  StatusModel& model_;
  QLabel* summary_;
  QTableWidget* routes_;
  QPushButton* reset_;
  NoteLabel* note_;
  QTableWidget* devices_;
  QPlainTextEdit* report_;
};

}  // namespace sonmere
