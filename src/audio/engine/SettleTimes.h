#pragma once

#include "audio/device/AudioHardware.h"
#include "base/Runtime.h"

namespace sonmere {

// How long the engines let the audio server come to rest before they go on. Where it makes devices at once
// most of them are nothing.
struct SettleTimes {
  Duration aggregate;        // a new aggregate, before an I/O procedure can be made on it
  Duration publicAggregate;  // one that other programs see, before it is told
  Duration aggregateRate;    // an aggregate whose rate was changed
  Duration change;           // a default or a rate that changes in several steps
  Duration restart;          // a server that came back and publishes its objects one by one
  Duration wake;             // devices that come back one by one after a sleep
};

const SettleTimes& settleTimes(const AudioHardware& hardware);

// The calling queue sleeps, where there is something to wait for.
void settle(Runtime& runtime, Duration time);

}  // namespace sonmere
