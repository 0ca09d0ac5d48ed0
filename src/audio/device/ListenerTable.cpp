#include "audio/device/ListenerTable.h"

#include <utility>

namespace sonmere {

ListenerID ListenerTable::add(AudioObjectID object, AudioProperty property, AudioScope scope, Queue& queue,
                              AudioHardware::PropertyHandler handler) {
  const ListenerID id = nextID_++;
  listeners_[id] = {object, property, scope, &queue,
                    std::make_shared<AudioHardware::PropertyHandler>(std::move(handler))};
  return id;
}

bool ListenerTable::remove(ListenerID listener) { return listeners_.erase(listener) > 0; }

void ListenerTable::removeObject(AudioObjectID object) {
  std::erase_if(listeners_, [&](const auto& entry) { return entry.second.object == object; });
}

void ListenerTable::notify(AudioObjectID object, AudioProperty property, AudioScope scope) {
  for (const auto& [id, listener] : listeners_) {
    const bool scopeMatches =
        listener.scope == scope || listener.scope == AudioScope::global || scope == AudioScope::global;
    if (listener.object == object && listener.property == property && scopeMatches)
      listener.queue->post([handler = listener.handler] { (*handler)(); });
  }
}

}  // namespace sonmere
