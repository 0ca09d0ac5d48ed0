#include "audio/engine/TapAggregate.h"

#include "audio/engine/SettleTimes.h"

namespace sonmere {

namespace {

// The tap may not be ready at once.
Result<std::string> readTapUID(AudioHardware& hardware, Runtime& runtime, AudioObjectID tap) {
  Result<std::string> uid = std::unexpected(noErr);
  for (int attempt = 1; attempt <= kTapUIDAttempts; ++attempt) {
    uid = hardware.tapUID(tap);
    if (uid && !uid->empty()) return uid;
    if (attempt < kTapUIDAttempts) runtime.blockFor(kTapUIDPause);
  }
  return uid ? std::unexpected(kAudioHardwareUnspecifiedError) : uid;
}

AggregateDescription describe(const TapAggregatePlan& plan, const std::string& tapUID) {
  AggregateDescription description;
  description.uid = plan.aggregateUID;
  description.name = plan.aggregateName;
  description.isPrivate = true;
  description.tapUIDs = {tapUID};
  return description;
}

}  // namespace

std::expected<TapAggregate, TapAggregateFailure> buildTapAggregate(AudioHardware& hardware, Runtime& runtime,
                                                                   const TapAggregatePlan& plan) {
  TapAggregate made;
  const auto fail = [&](TapAggregateStep step, OSStatus status) {
    const TapAggregateFailure failure{step, status};
    if (plan.report) plan.report(failure);
    destroyTapAggregate(hardware, made);
    return std::unexpected(failure);
  };

  const auto tap = hardware.createProcessTap(plan.tap);
  if (!tap) return fail(TapAggregateStep::createTap, tap.error());
  made.tapObjectID = *tap;

  const auto uid = readTapUID(hardware, runtime, *tap);
  if (!uid) return fail(TapAggregateStep::readTapUID, uid.error());

  const auto aggregate = hardware.createAggregateDevice(describe(plan, *uid));
  if (!aggregate || *aggregate == kAudioObjectUnknown)
    return fail(TapAggregateStep::createAggregate,
                aggregate ? kAudioHardwareUnspecifiedError : aggregate.error());
  made.aggDeviceID = *aggregate;

  if (plan.beforeSettling) plan.beforeSettling(*aggregate);
  settle(runtime, settleTimes(hardware).aggregate);
  if (plan.afterSettling) plan.afterSettling(*aggregate);

  const auto procedure = hardware.createIOProc(*aggregate, plan.procedure, plan.clientData);
  if (!procedure || *procedure == 0)
    return fail(TapAggregateStep::createIOProc,
                procedure ? kAudioHardwareUnspecifiedError : procedure.error());
  made.ioProcID = *procedure;

  if (const OSStatus status = hardware.startDevice(*aggregate, *procedure); status != noErr)
    return fail(TapAggregateStep::startDevice, status);
  made.isStarted = true;
  return made;
}

void destroyTapAggregate(AudioHardware& hardware, TapAggregate& objects) {
  if (objects.ioProcID != 0) {
    if (objects.isStarted) hardware.stopDevice(objects.aggDeviceID, objects.ioProcID);
    objects.isStarted = false;
    hardware.destroyIOProc(objects.aggDeviceID, objects.ioProcID);
    objects.ioProcID = 0;
  }
  if (objects.aggDeviceID != kAudioObjectUnknown) {
    hardware.destroyAggregateDevice(objects.aggDeviceID);
    objects.aggDeviceID = kAudioObjectUnknown;
  }
  if (objects.tapObjectID != kAudioObjectUnknown) {
    hardware.destroyProcessTap(objects.tapObjectID);
    objects.tapObjectID = kAudioObjectUnknown;
  }
}

}  // namespace sonmere
