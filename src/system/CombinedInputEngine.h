#pragma once

#include <optional>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/engine/Route.h"
#include "base/Observable.h"

namespace sonmere {

// Several input devices as one public device, so that the microphone's path can capture them together. What
// was combined is kept, and made again where it is missing while two of its members are there. Main thread;
// making the device blocks for its settling time.
class CombinedInputEngine final : public Route {
 public:
  static constexpr const char* kDevicesKey = "sonmere.combinedInput.devices";
  static constexpr const char* kNameKey = "sonmere.combinedInput.name";
  static constexpr const char* kDefaultName = "Sonmere Combined Input";

  explicit CombinedInputEngine(EngineContext& context);

  // Makes again what was combined. Once.
  void launch();

  struct Wish {
    std::vector<std::string> devices;  // UIDs, in the order of their channels; empty: nothing is combined
    std::string name;

    bool operator==(const Wish&) const = default;
  };
  OwnedObservable<Wish, CombinedInputEngine> wish;
  OwnedObservable<std::optional<AudioDeviceID>, CombinedInputEngine> device;  // while it is there
  // Why it is not there though it should be.
  OwnedObservable<std::optional<std::string>, CombinedInputEngine> errorMessage;

  // In place of what was combined before. The wish is kept also where the device can't be made; false then.
  bool create(const Wish& wanted);
  void remove();

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  bool make();
  bool destroyPresent();
  void store();

  EngineContext& context_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
