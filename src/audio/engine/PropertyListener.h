#pragma once

#include <functional>
#include <memory>

#include "audio/device/AudioHardware.h"

namespace sonmere {

// One property that is listened to for as long as this lives; the handler comes to `queue`, on which this
// lives too, and not once this is gone or has stopped.
class PropertyListener {
 public:
  PropertyListener() = default;
  PropertyListener(PropertyListener&&) noexcept = default;
  PropertyListener& operator=(PropertyListener&& other) noexcept;
  ~PropertyListener() { stop(); }

  // In place of what it listened to before.
  OSStatus listen(AudioHardware& hardware, AudioObjectID object, AudioProperty property, Queue& queue,
                  std::function<void()> handler, AudioScope scope = AudioScope::global);
  void stop();
  // Stops without a word to the server, which has forgotten the listener with its object.
  void forget() { target_.reset(); }
  explicit operator bool() const { return target_ != nullptr; }

 private:
  struct Target {
    std::function<void()> handler;
  };
  AudioHardware* hardware_ = nullptr;
  ListenerID id_ = 0;
  std::shared_ptr<const Target> target_;  // none: it listens to nothing
};

}  // namespace sonmere
