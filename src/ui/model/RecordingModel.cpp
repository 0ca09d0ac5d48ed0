#include "ui/model/RecordingModel.h"

#include <algorithm>

#include "audio/device/BusTable.h"
#include "recording/RecordedSource.h"
#include "ui/model/Decode.h"

namespace sonmere {

RecordingModel::RecordingModel(ServiceLink& link) : link_(link) {
  connect(&link, &ServiceLink::told, this, &RecordingModel::take);
  connect(&link, &ServiceLink::metered, this, &RecordingModel::takeMeters);
}

void RecordingModel::take(Topic topic, const TopicJSON& value) {
  if (topic == Topic::library) {
    folder_ = QString::fromStdString(memberOr<std::string>(objectAt(value, "facts"), "folder", {}));
  } else if (topic == Topic::recording) {
    takeRunning(value);
  } else {
    return;
  }
  emit changed();
}

void RecordingModel::takeRunning(const TopicJSON& value) {
  notices_.clear();
  const TopicJSON& facts = objectAt(value, "facts");
  if (const auto told = facts.find("notices"); told != facts.end() && told->is_array()) {
    for (const TopicJSON& each : *told) {
      if (each.is_string()) notices_ << QString::fromStdString(each.get<std::string>());
    }
  }
  layout_ = QString::fromStdString(memberOr<std::string>(objectAt(value, "wishes"), "layout", "mixed"));
  willSwitchOn_.clear();
  if (const auto told = facts.find("willSwitchOn"); told != facts.end() && told->is_array()) {
    for (const TopicJSON& each : *told) {
      if (each.is_string()) willSwitchOn_ << QString::fromStdString(each.get<std::string>());
    }
  }
  const TopicJSON& preroll = objectAt(facts, "preroll");
  keptSeconds_ = memberOr<double>(preroll, "keptSeconds", 0);
  prerollRefusal_ = QString::fromStdString(memberOr<std::string>(preroll, "refusal", {}));
  std::vector<RecordingState> running;
  for (const auto& [bus, recording] : objectAt(objectAt(value, "facts"), "running").items()) {
    RecordingState state;
    const auto side = recordedSourceNamed(bus);
    state.source = side ? *side : QString::fromStdString(bus).toInt();
    state.path = memberOr<std::string>(recording, "path", {});
    const auto known = std::ranges::find(running_, state.path, &RecordingState::path);
    running.push_back(known == running_.end() ? state : *known);
  }
  running_ = std::move(running);
}

// How far each has come.
void RecordingModel::takeMeters(const ControlJSON& meters) {
  const auto told = meters.is_object() ? meters.find("recordings") : meters.end();
  if (told == meters.end() || !told->is_array() || running_.empty()) return;
  for (const ControlJSON& each : *told) {
    const RecordingState state = decodeRecording(each);
    const auto known = std::ranges::find(running_, state.path, &RecordingState::path);
    if (known != running_.end()) *known = state;
  }
  emit changed();
}

void RecordingModel::setLayout(const QString& layout) {
  link_.call("settings.set", {{"key", "recording.layout"}, {"value", layout.toStdString()}},
             [this](const Outcome<ControlJSON>& answer) {
               if (!answer) emit answered(QString::fromStdString(answer.error().description), true);
             });
}

void RecordingModel::startAgain() { start(lastBuses_.empty() ? std::set<int>{kBridgeBus} : lastBuses_); }

void RecordingModel::start(const std::set<int>& buses) {
  lastBuses_ = buses;
  link_.call("record.start", {{"buses", buses}}, [this](const Outcome<ControlJSON>& answer) {
    emit answered(answer ? QString() : QString::fromStdString(answer.error().description), !answer);
  });
}

void RecordingModel::stopAll() {
  link_.call("record.stop", {{"all", true}}, [this](const Outcome<ControlJSON>& answer) {
    if (!answer) return emit answered(QString::fromStdString(answer.error().description), true);
    for (const ControlJSON& path : answer->value("paths", ControlJSON::array()))
      if (path.is_string()) emit finished(QString::fromStdString(path.get<std::string>()));
  });
}

}  // namespace sonmere
