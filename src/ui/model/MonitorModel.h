#pragma once

#include "control/MonitorState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// What of the virtual devices the user hears, and where.
class MonitorModel : public TopicModel {
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

 private:
  void take(Topic topic, const TopicJSON& value);

  MonitorState state_;
};

}  // namespace sonmere
