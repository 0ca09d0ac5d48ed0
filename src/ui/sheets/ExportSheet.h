#pragma once

#include "editor/export/ExportFormat.h"
#include "ui/widgets/Sheet.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace sonmere {

class EditedProject;
class SettingsStore;

// Where an export goes and as what, then how far it is; it can be ended early, and leaves nothing then.
class ExportSheet : public Sheet {
  Q_OBJECT

 public:
  // The format that was chosen is kept in the settings.
  ExportSheet(EditedProject& project, SettingsStore& settings, QWidget* parent);

  bool isBusy() const override { return isUnderWay_; }

 signals:
  void exported(const QString& path);

 private:
  void formatChanged();
  void chooseFile();
  void begin();
  void refresh();
  void say(const QString& text);
  bool isStems() const;
  ExportFormat format() const;

  EditedProject& project_;
  SettingsStore& settings_;
  QComboBox* what_;
  QComboBox* format_;
  QLineEdit* path_;
  QProgressBar* progress_;
  QLabel* note_;
  QPushButton* cancel_;
  QPushButton* start_;
  bool isUnderWay_ = false;
  bool hasFailed_ = false;
};

}  // namespace sonmere
