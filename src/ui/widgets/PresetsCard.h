#pragma once

#include <QGroupBox>

class QComboBox;
class QLabel;
class QLineEdit;
class QListWidget;

namespace sonmere {

class AppsModel;
class BusesModel;
class NoteLabel;
class PresetsModel;

// Presets as files to share: a list, where the chosen one is loaded, what is saved as another, and one that
// somebody gave away.
class PresetsCard : public QGroupBox {
  Q_OBJECT

 public:
  PresetsCard(PresetsModel& model, AppsModel& apps, BusesModel& buses, QWidget* parent = nullptr);

 private:
  void buildButtons(class QGridLayout& layout);
  void refresh();
  void offerScopes();
  void load();
  void save();
  void import();
  void remove();
  QString chosen() const;

  PresetsModel& model_;
  AppsModel& apps_;
  BusesModel& buses_;
  QListWidget* list_;
  QComboBox* scope_;
  QLineEdit* name_;
  NoteLabel* note_;
};

}  // namespace sonmere
