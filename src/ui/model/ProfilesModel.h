#pragma once

#include "control/ProfileState.h"
#include "ui/model/TopicModel.h"

namespace sonmere {

// Saved routings.
class ProfilesModel : public TopicModel {
  Q_OBJECT

 public:
  explicit ProfilesModel(ServiceLink& link);

  const std::vector<ProfileState>& profiles() const { return profiles_; }

  // The routing of this moment.
  void save(const QString& name);
  void apply(const QString& name);
  void remove(const QString& name);

 private:
  void take(Topic topic, const TopicJSON& value);

  std::vector<ProfileState> profiles_;
};

}  // namespace sonmere
