#pragma once

#include <string_view>
#include <vector>

#include "platform/simulated/SimulatedDeviceDescription.h"

namespace sonmere {

// The devices of an ordinary machine, in the order in which they are plugged in.
std::vector<SimulatedDeviceDescription> standardMachine();

// The ten devices that the driver publishes, in the order of the buses.
const std::vector<SimulatedDeviceDescription>& virtualDevices();
bool isDriverDevice(std::string_view uid);

}  // namespace sonmere
