#include "ui/model/ProfilesModel.h"

#include "ui/model/SystemDecode.h"

namespace sonmere {

ProfilesModel::ProfilesModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &ProfilesModel::take);
}

void ProfilesModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::routing) return;
  profiles_ = decodeProfiles(value);
  emit changed();
}

void ProfilesModel::save(const QString& name) { call("profile.save", {{"name", name.toStdString()}}); }

void ProfilesModel::apply(const QString& name) { call("profile.apply", {{"name", name.toStdString()}}); }

void ProfilesModel::remove(const QString& name) { call("profile.delete", {{"name", name.toStdString()}}); }

}  // namespace sonmere
