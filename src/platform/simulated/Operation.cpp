#include "platform/simulated/Operation.h"

#include <array>

namespace sonmere {

namespace {

constexpr std::array<std::string_view, kOperationCount> kNames = {
    "devices",
    "deviceForUID",
    "deviceUID",
    "deviceName",
    "transportType",
    "streamConfiguration",
    "channelName",
    "dataSource",
    "nominalSampleRate",
    "setNominalSampleRate",
    "availableNominalSampleRates",
    "bufferFrameSize",
    "setBufferFrameSize",
    "volume",
    "setVolume",
    "isAlive",
    "isRunningSomewhere",
    "fullSubDeviceList",
    "defaultDevice",
    "setDefaultDevice",
    "processObjects",
    "processForPID",
    "processPID",
    "processBundleID",
    "processIsRunningOutput",
    "processDevices",
    "createProcessTap",
    "destroyProcessTap",
    "tapUID",
    "createAggregateDevice",
    "destroyAggregateDevice",
    "createIOProc",
    "destroyIOProc",
    "startDevice",
    "stopDevice",
    "newOutputUnit",
    "addListener",
    "removeListener",
    "unitSetEnableIO",
    "unitSetCurrentDevice",
    "unitCurrentDevice",
    "unitSetStreamFormat",
    "unitHardwareFormat",
    "unitSetChannelMap",
    "unitSetMaximumFramesPerSlice",
    "unitSetRenderCallback",
    "unitSetInputCallback",
    "unitInitialize",
    "unitUninitialize",
    "unitStart",
    "unitStop",
    "unitRender",
    "captureSetCurrentDevice",
    "captureCurrentDevice",
    "captureInstallTap",
    "captureStart",
    "effectDescribe",
    "effectTest",
    "effectInstantiate",
    "effectState",
    "effectHelperStart",
    "effectHelperApply",
};

}  // namespace

std::string_view operationName(Operation operation) { return kNames[std::size_t(operation)]; }

}  // namespace sonmere
