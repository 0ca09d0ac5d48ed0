#pragma once

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/engine/PropertyListener.h"
#include "base/Observable.h"
#include "base/TaskToken.h"
#include "input/MicDevice.h"

namespace sonmere {

// Keeps a chosen device as the system's default input, whatever else takes the place. It stands down while
// the device is gone, and for a while where another program fights for the default. Main thread.
class InputPinEngine {
 public:
  static constexpr const char* kEnabledKey = "sonmere.inputPinEnabled";
  static constexpr const char* kDeviceUIDKey = "sonmere.inputPinDeviceUID";
  static constexpr const char* kDeviceNameKey = "sonmere.inputPinDeviceName";

  explicit InputPinEngine(EngineContext& context);

  // Follows the default input and the devices from now on, and looks a second later. Once.
  void launch();

  OwnedObservable<bool, InputPinEngine> isEnabled{false};
  OwnedObservable<std::optional<std::string>, InputPinEngine> pinnedUID;
  OwnedObservable<std::optional<std::string>, InputPinEngine>
      pinnedName;  // as it was called when it was chosen
  OwnedObservable<bool, InputPinEngine> pinnedDevicePresent{false};
  OwnedObservable<std::vector<MicDevice>, InputPinEngine>
      availableInputs;  // without the program's own devices
  OwnedObservable<int, InputPinEngine> sessionRestoreCount{0};

  void setEnabled(bool enabled);
  void select(const MicDevice& device);
  // Whether it leaves the default alone for now, because another program kept taking it.
  bool isBackingOff() const;

 private:
  void schedule(Duration after, std::string reason);
  void enforce(const std::string& reason);
  bool mustBackOff(Date now);
  void refreshInputs();
  void listen(AudioProperty property, bool refreshesList, Duration delay, const char* reason);

  EngineContext& context_;
  ScopedTask enforceTask_;
  std::deque<Date> recentRestores_;
  std::optional<Date> backoffUntil_;
  std::vector<PropertyListener> listeners_;
};

}  // namespace sonmere
