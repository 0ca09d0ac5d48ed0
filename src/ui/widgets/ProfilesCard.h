#pragma once

#include <QGroupBox>
#include <vector>

class QLabel;
class QLineEdit;
class QVBoxLayout;

namespace sonmere {

class NoteLabel;
class ProfilesModel;

// Saved routings: applied and deleted, and that of this moment saved.
class ProfilesCard : public QGroupBox {
  Q_OBJECT

 public:
  explicit ProfilesCard(ProfilesModel& model, QWidget* parent = nullptr);

 private:
  void save();
  void refresh();
  QWidget* makeRow(const QString& name, int apps);

  ProfilesModel& model_;
  QVBoxLayout* list_;
  QLabel* empty_;
  QLineEdit* name_;
  NoteLabel* note_;
  QStringList shown_;
  std::vector<QWidget*> rows_;
};

}  // namespace sonmere
