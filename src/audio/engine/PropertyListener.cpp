#include "audio/engine/PropertyListener.h"

#include <utility>

namespace sonmere {

PropertyListener& PropertyListener::operator=(PropertyListener&& other) noexcept {
  if (this == &other) return *this;
  stop();
  hardware_ = other.hardware_;
  id_ = other.id_;
  target_ = std::move(other.target_);
  return *this;
}

OSStatus PropertyListener::listen(AudioHardware& hardware, AudioObjectID object, AudioProperty property,
                                  Queue& queue, std::function<void()> handler, AudioScope scope) {
  stop();
  auto target = std::make_shared<const Target>(std::move(handler));
  const auto added = hardware.addListener(object, property, scope, queue, [weak = std::weak_ptr(target)] {
    if (const auto present = weak.lock()) present->handler();
  });
  if (!added) return added.error();
  hardware_ = &hardware;
  id_ = *added;
  target_ = std::move(target);
  return noErr;
}

// What a stopped server does not take back calls nobody.
void PropertyListener::stop() {
  if (std::exchange(target_, nullptr)) hardware_->removeListener(id_);
}

}  // namespace sonmere
