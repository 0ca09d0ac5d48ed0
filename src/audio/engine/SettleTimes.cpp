#include "audio/engine/SettleTimes.h"

namespace sonmere {

namespace {

constexpr SettleTimes kSettling{.aggregate = fromMilliseconds(100),
                                .publicAggregate = fromMilliseconds(150),
                                .aggregateRate = fromMilliseconds(50),
                                .change = fromMilliseconds(150),
                                .restart = std::chrono::seconds(2),
                                .wake = std::chrono::seconds(1)};
constexpr SettleTimes kSettled{.aggregate = {},
                               .publicAggregate = {},
                               .aggregateRate = {},
                               .change = {},
                               .restart = fromMilliseconds(50),
                               .wake = std::chrono::seconds(1)};

}  // namespace

const SettleTimes& settleTimes(const AudioHardware& hardware) {
  return hardware.needsSettling() ? kSettling : kSettled;
}

void settle(Runtime& runtime, Duration time) {
  if (time > Duration::zero()) runtime.blockFor(time);
}

}  // namespace sonmere
