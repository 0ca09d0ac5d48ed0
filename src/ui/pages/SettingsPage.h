#pragma once

#include <QWidget>
#include <map>

class QFormLayout;
class QLabel;
class QLineEdit;
class QToolButton;

namespace sonmere {

class SettingsModel;
struct ShownSetting;

// Every setting that a user may change, in words, searchable, each with its way back to the default.
class SettingsPage : public QWidget {
  Q_OBJECT

 public:
  explicit SettingsPage(SettingsModel& model, QWidget* parent = nullptr);

 private:
  // The control of one setting, and what brings the service's value into it.
  struct Row {
    QWidget* whole = nullptr;
    QToolButton* reset = nullptr;
    QLabel* note = nullptr;
    QString words;  // what a search looks at
    std::function<void(const ShownSetting&)> show;
  };
  void refresh();
  void filter(const QString& text);
  Row makeRow(const ShownSetting& setting);
  QWidget* makeControl(const ShownSetting& setting, Row& row);
  void answer(const QString& key, const QString& text, bool isRefusal);

  SettingsModel& model_;
  QLineEdit* search_;
  class QVBoxLayout* list_;
  std::map<QString, Row> rows_;
};

}  // namespace sonmere
