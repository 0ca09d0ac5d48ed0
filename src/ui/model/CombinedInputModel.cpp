#include "ui/model/CombinedInputModel.h"

#include "ui/model/SystemDecode.h"

namespace sonmere {

CombinedInputModel::CombinedInputModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &CombinedInputModel::take);
}

void CombinedInputModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::daw) return;
  state_ = decodeDAW(value).combined;
  emit changed();
}

void CombinedInputModel::combine(const QStringList& devices, const QString& name) {
  ControlJSON params{{"devices", ControlJSON::array()}};
  for (const QString& device : devices) params["devices"].push_back(device.toStdString());
  if (!name.isEmpty()) params["name"] = name.toStdString();
  call("combine", params);
}

void CombinedInputModel::separate() { call("combine.off"); }

}  // namespace sonmere
