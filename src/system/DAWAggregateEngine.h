#pragma once

#include <optional>
#include <string>

#include "audio/engine/EngineContext.h"
#include "audio/engine/Route.h"
#include "base/Observable.h"

namespace sonmere {

// One public device of sixteen channels that bundles the eight Tracks, while the user wants it: channels 1
// and 2 are Track 1, and so on. One program writes eight stereo pairs, another reads them. Main thread;
// making the device blocks for its settling time.
class DAWAggregateEngine final : public Route {
 public:
  static constexpr const char* kEnabledKey = "sonmere.dawAggregate.isEnabled";

  explicit DAWAggregateEngine(EngineContext& context);

  // A device from before is made anew, so that its members are those of now. Once.
  void launch();

  // The wish; it stays also where the device can't be made.
  OwnedObservable<bool, DAWAggregateEngine> isEnabled{false};
  OwnedObservable<std::optional<AudioDeviceID>, DAWAggregateEngine> aggregateDeviceID;
  OwnedObservable<std::optional<std::string>, DAWAggregateEngine> errorMessage;

  void setEnabled(bool enabled);
  // Makes the device unless it is there.
  void ensure();
  // Destroys and makes it anew; what is left of it while it is off goes.
  void manualReset();

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  RouteHealthEntry health() const override;
  RouteHealthEntry check(RevalidationReason reason) override;
  void reset(ResetRoutingResult& result) override;

 private:
  std::optional<AggregateDescription> describe() const;
  void create();
  // False when it is still there.
  bool destroy(AudioDeviceID device);
  void recoverIfNeeded();
  void fail(const std::string& message);
  void publish(std::optional<AudioDeviceID> device);

  EngineContext& context_;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
