#pragma once

#include <QObject>

#include "control/MonitorState.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

// What of the virtual devices the user hears, and where.
class MonitorModel : public QObject {
  Q_OBJECT

 public:
  explicit MonitorModel(ServiceLink& link);

  const MonitorState& state() const { return state_; }
  // As the user wishes.
  bool isAppHeard(const QString& id) const;
  bool isBusHeard(int bus) const;

  void setEnabled(bool enabled);
  // Empty: whatever the default output is.
  void select(const QString& device);
  void setApp(const QString& id, bool heard);
  void setBus(int bus, bool heard);
  void setMicrophone(bool heard);

 signals:
  void changed();
  // Why an act was refused, or what is to be told of it.
  void answered(const QString& text, bool isRefusal);

 private:
  void take(Topic topic, const TopicJSON& value);
  void call(const std::string& method, const ControlJSON& params);

  ServiceLink& link_;
  MonitorState state_;
};

}  // namespace sonmere
