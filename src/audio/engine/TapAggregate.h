#pragma once

#include <expected>
#include <functional>
#include <string>

#include "audio/device/AudioHardware.h"
#include "base/Runtime.h"

namespace sonmere {

// The platform objects of one capture: a process tap in a private aggregate with an I/O procedure. 0 is none.
struct TapAggregate {
  AudioObjectID tapObjectID = kAudioObjectUnknown;
  AudioDeviceID aggDeviceID = kAudioObjectUnknown;
  IOProcID ioProcID = 0;
  bool isStarted = false;
};

enum class TapAggregateStep { createTap, readTapUID, createAggregate, createIOProc, startDevice };

struct TapAggregateFailure {
  TapAggregateStep step;
  OSStatus status;
};

// What differs between the engines that capture.
struct TapAggregatePlan {
  TapDescription tap;
  std::string aggregateUID;
  std::string aggregateName;
  IOProc procedure = nullptr;
  void* clientData = nullptr;
  // Before and after the settling time of the new aggregate: rate matching, reads that make the server
  // settle.
  std::function<void(AudioDeviceID aggregate)> beforeSettling;
  std::function<void(AudioDeviceID aggregate)> afterSettling;
  // Told of a failure before anything is rolled back.
  std::function<void(const TapAggregateFailure&)> report;
};

// How often a new tap's UID is asked for, and the pause between.
constexpr int kTapUIDAttempts = 5;
constexpr Duration kTapUIDPause = fromMilliseconds(2);

// Creates tap, aggregate and I/O procedure and starts it. A failure rolls back what was made, in reverse.
// Main thread; blocks for the settling time.
std::expected<TapAggregate, TapAggregateFailure> buildTapAggregate(AudioHardware& hardware, Runtime& runtime,
                                                                   const TapAggregatePlan& plan);

// Stops the procedure, then destroys procedure, aggregate and tap, each if it exists, and forgets them. After
// this no call of the procedure is under way. Main thread.
void destroyTapAggregate(AudioHardware& hardware, TapAggregate& objects);

}  // namespace sonmere
