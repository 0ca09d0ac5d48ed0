#pragma once

#include <vector>

#include "control/AppState.h"
#include "control/ControlMessage.h"
#include "control/DeviceState.h"
#include "control/DriverState.h"
#include "control/InputState.h"
#include "control/Meters.h"
#include "control/MixerState.h"
#include "control/MonitorState.h"
#include "control/ProfileState.h"
#include "control/ProgramGreeting.h"
#include "control/ProgramStatus.h"
#include "control/RecordingHealthState.h"
#include "control/RecordingState.h"
#include "control/RoutesState.h"
#include "control/RoutingOverview.h"
#include "control/WindowControl.h"
#include "recording/library/RecordingSession.h"

namespace sonmere {

// The façade's values as they stand in messages.
ControlJSON encodeControl(const AppState& app);
ControlJSON encodeControl(const AppChange& change);
ControlJSON encodeControl(const Meters& meters);
ControlJSON encodeControl(const RecordingSession& session);
ControlJSON encodeControl(const MixerState& mixer);
ControlJSON encodeControl(const MixerChange& change);
ControlJSON encodeControl(const BusState& bus);
ControlJSON encodeControl(const BusChange& change);
ControlJSON encodeControl(const RoutingOverview& routing);
ControlJSON encodeControl(const RoutingChange& change);
ControlJSON encodeControl(const InputDeviceState& device);
ControlJSON encodeControl(const ExtraInputState& input);
ControlJSON encodeControl(const InputState& input);
ControlJSON encodeControl(const InputChange& change);
ControlJSON encodeControl(const MonitorDeviceState& device);
ControlJSON encodeControl(const MonitorAppState& app);
ControlJSON encodeControl(const MonitorBusState& bus);
ControlJSON encodeControl(const MonitorState& monitor);
ControlJSON encodeControl(const MonitorChange& change);
ControlJSON encodeControl(const RouteRow& route);
ControlJSON encodeControl(const DriverState& driver);
ControlJSON encodeControl(const RoutesState& routes);
ControlJSON encodeControl(const RecordingState& recording);
ControlJSON encodeControl(const PrerollState& preroll);
ControlJSON encodeControl(const RecordingHealthState& health);
ControlJSON encodeControl(const ProfileState& profile);
ControlJSON encodeControl(const DeviceState& device);
ControlJSON encodeControl(const ProgramGreeting& greeting);
ControlJSON encodeControl(const ProgramStatus& status);
ControlJSON encodeControl(const AppEQSettings& settings);
ControlJSON encodeControl(const WindowLaunch& launch);

template <class T>
ControlJSON encodeControl(const std::vector<T>& values) {
  ControlJSON list = ControlJSON::array();
  for (const T& value : values) list.push_back(encodeControl(value));
  return list;
}

// An equaliser from any of its members; a missing one has its default, and an empty object or null is off.
// The error names the member that is wrong.
Outcome<AppEQSettings> decodeEqualiser(const ControlJSON& object);

}  // namespace sonmere
