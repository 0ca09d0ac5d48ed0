#include "ui/model/DAWModel.h"

#include "ui/model/SystemDecode.h"

namespace sonmere {

DAWModel::DAWModel(ServiceLink& link) : TopicModel(link) {
  connect(&link, &ServiceLink::told, this, &DAWModel::take);
}

void DAWModel::take(Topic topic, const TopicJSON& value) {
  if (topic != Topic::daw) return;
  state_ = decodeDAW(value);
  emit changed();
}

void DAWModel::setEnabled(bool enabled) { call("daw.enable", {{"enabled", enabled}}); }

void DAWModel::reset() { call("daw.reset"); }

}  // namespace sonmere
