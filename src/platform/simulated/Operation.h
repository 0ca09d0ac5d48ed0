#pragma once

#include <cstddef>
#include <string_view>

namespace sonmere {

// Every operation of the boundary that can fail, by the name that it has there.
enum class Operation {
  devices,
  deviceForUID,
  deviceUID,
  deviceName,
  transportType,
  streamConfiguration,
  channelName,
  dataSource,
  nominalSampleRate,
  setNominalSampleRate,
  availableNominalSampleRates,
  bufferFrameSize,
  setBufferFrameSize,
  volume,
  setVolume,
  isAlive,
  isRunningSomewhere,
  fullSubDeviceList,
  defaultDevice,
  setDefaultDevice,
  processObjects,
  processForPID,
  processPID,
  processBundleID,
  processIsRunningOutput,
  processDevices,
  createProcessTap,
  destroyProcessTap,
  tapUID,
  createAggregateDevice,
  destroyAggregateDevice,
  createIOProc,
  destroyIOProc,
  startDevice,
  stopDevice,
  newOutputUnit,
  addListener,
  removeListener,
  unitSetEnableIO,
  unitSetCurrentDevice,
  unitCurrentDevice,
  unitSetStreamFormat,
  unitHardwareFormat,
  unitSetChannelMap,
  unitSetMaximumFramesPerSlice,
  unitSetRenderCallback,
  unitSetInputCallback,
  unitInitialize,
  unitUninitialize,
  unitStart,
  unitStop,
  unitRender,
  captureSetCurrentDevice,
  captureCurrentDevice,
  captureInstallTap,
  captureStart,
  effectDescribe,
  effectTest,
  effectInstantiate,
  effectState,
  effectHelperStart,
  effectHelperApply,
  count,
};

constexpr std::size_t kOperationCount = std::size_t(Operation::count);

std::string_view operationName(Operation operation);

}  // namespace sonmere
