#pragma once

#include <QObject>
#include <QStringList>
#include <vector>

#include "ui/model/ServiceLink.h"

namespace sonmere {

// One setting as it is shown.
struct ShownSetting {
  QString key;
  QString kind;  // "flag", "number", "choice", "folder"
  QString meaning;
  QString effect;  // when a change is taken up
  TopicJSON value;

  QStringList choices;
  double lowest = 0;
  double highest = 0;
  bool isChanged = false;
};

// Every setting that a user may change.
class SettingsModel : public QObject {
  Q_OBJECT

 public:
  explicit SettingsModel(ServiceLink& link);

  const std::vector<ShownSetting>& settings() const { return settings_; }
  void set(const QString& key, const ControlJSON& value);
  void reset(const QString& key);

 signals:
  void changed();
  // Why a value was refused, or what is to be told of it; empty when all went well.
  void answered(const QString& key, const QString& text, bool isRefusal);

 private:
  void take(Topic topic, const TopicJSON& value);
  ServiceLink::Answer forKey(const QString& key);

  ServiceLink& link_;
  std::vector<ShownSetting> settings_;
};

}  // namespace sonmere
