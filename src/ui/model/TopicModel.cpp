#include "ui/model/TopicModel.h"

#include "ui/model/Decode.h"

namespace sonmere {

ServiceLink::Answer TopicModel::answer() {
  return [this](const Outcome<ControlJSON>& result) {
    emit answered(result ? notesOf(*result) : QString::fromStdString(result.error().description), !result);
    if (!result) emit changed();
  };
}

void TopicModel::call(const std::string& method, const ControlJSON& params) {
  link_.call(method, params, answer());
}

void TopicModel::callLatest(const std::string& key, const std::string& method, const ControlJSON& params) {
  link_.callLatest(key, method, params, answer());
}

}  // namespace sonmere
