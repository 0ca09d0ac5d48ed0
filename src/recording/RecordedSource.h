#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "audio/device/BusTable.h"

namespace sonmere {

// What a recording is of: a bus, by its number, or one of these, below zero.
constexpr int kMicSource = -2;
constexpr int kAppsSource = -3;
// The additional inputs of a session in their order: this one, and down.
constexpr int kFirstInputSource = -4;

// What a recording can be asked for of; the others come with a layout.
constexpr bool isRecordableSource(int source) { return source == kMicSource || isRoutableBus(source); }

// A word for a source that is no bus: "mic", "apps", "input 1".
std::string recordedSourceName(int source);
// The source of such a word; nothing for any other.
std::optional<int> recordedSourceNamed(std::string_view name);

}  // namespace sonmere
