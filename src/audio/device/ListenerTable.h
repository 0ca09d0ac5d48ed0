#pragma once

#include <map>
#include <memory>

#include "audio/device/AudioHardware.h"

namespace sonmere {

// The property listeners that a platform keeps. Guarded by the platform's lock.
class ListenerTable {
 public:
  ListenerID add(AudioObjectID object, AudioProperty property, AudioScope scope, Queue& queue,
                 AudioHardware::PropertyHandler handler);
  bool remove(ListenerID listener);
  // Forgets the listeners of an object that goes.
  void removeObject(AudioObjectID object);
  // Posts to every listener of the property; a global scope on either side matches all.
  void notify(AudioObjectID object, AudioProperty property, AudioScope scope = AudioScope::global);
  std::size_t size() const { return listeners_.size(); }

 private:
  struct Listener {
    AudioObjectID object;
    AudioProperty property;
    AudioScope scope;
    Queue* queue;
    std::shared_ptr<AudioHardware::PropertyHandler> handler;
  };
  std::map<ListenerID, Listener> listeners_;
  ListenerID nextID_ = 1;
};

}  // namespace sonmere
