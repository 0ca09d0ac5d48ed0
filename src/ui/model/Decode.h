#pragma once

#include <QString>

#include "control/AppState.h"
#include "control/ControlMessage.h"
#include "control/DeviceState.h"
#include "control/InputState.h"
#include "control/MixerState.h"
#include "control/MonitorState.h"
#include "control/RecordingState.h"
#include "control/TopicValues.h"

namespace sonmere {

// The service's values. What is missing or of another form has its default: a newer service may have dropped
// it.
//
// An app of the topic "apps"; its effects come with another.
AppState decodeApp(const std::string& id, const TopicJSON& json);
void decodeEffects(const TopicJSON& json, AppState& app);
AppMeters decodeMeters(const ControlJSON& json);
MixerState decodeMixer(const TopicJSON& json);
RecordingState decodeRecording(const ControlJSON& json);
DeviceState decodeDevice(const TopicJSON& json);
// The topic "input", and what of its meters is told.
InputState decodeInput(const TopicJSON& json);
InputMeters decodeInputMeters(const ControlJSON& json);

// The topic "monitor".
MonitorState decodeMonitor(const TopicJSON& json);

// The notes of a change, a line each.
QString notesOf(const ControlJSON& result);

// The members of an object by a list of their names, in its order: what the topics call "order". What is not
// there is left out.
template <class Visit>
void visitInOrder(const TopicJSON& json, const char* what, Visit visit) {
  const auto order = json.is_object() ? json.find("order") : json.end();
  const auto values = json.is_object() ? json.find(what) : json.end();
  if (order == json.end() || !order->is_array() || values == json.end() || !values->is_object()) return;
  for (const TopicJSON& key : *order) {
    if (!key.is_string()) continue;
    const std::string& name = key.template get_ref<const std::string&>();
    if (const auto found = values->find(name); found != values->end() && found->is_object())
      visit(name, *found);
  }
}

// A member, if it is there and of the form wanted.
template <class T, class JSON>
std::optional<T> memberIf(const JSON& json, const char* name) {
  if (!json.is_object()) return std::nullopt;
  const auto found = json.find(name);
  if (found == json.end()) return std::nullopt;
  if constexpr (std::is_same_v<T, std::string>) {
    if (!found->is_string()) return std::nullopt;
  } else if constexpr (std::is_same_v<T, bool>) {
    if (!found->is_boolean()) return std::nullopt;
  } else {
    if (!found->is_number()) return std::nullopt;
  }
  return found->template get<T>();
}

template <class T, class JSON>
T memberOr(const JSON& json, const char* name, T otherwise) {
  return memberIf<T, JSON>(json, name).value_or(std::move(otherwise));
}

// A member that is an object; an empty one where there is none.
template <class JSON>
const JSON& objectAt(const JSON& json, const char* name) {
  static const JSON empty = JSON::object();
  if (!json.is_object()) return empty;
  const auto found = json.find(name);
  return found != json.end() && found->is_object() ? *found : empty;
}

}  // namespace sonmere
