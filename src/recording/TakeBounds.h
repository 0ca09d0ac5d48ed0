#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/SettingsStore.h"
#include "recording/TakeRequest.h"

namespace sonmere {

inline constexpr const char* kStopFreeKey = "record.stopFreeMegabytes";
inline constexpr const char* kWarnFreeKey = "record.warnFreeMegabytes";
inline constexpr double kDefaultStopFreeMegabytes = 500, kDefaultWarnFreeMegabytes = 2000;

// The room on a drive below which recordings end, and below which that is foretold. Bytes; 0: never.
struct FreeSpaceBounds {
  std::uint64_t stop = 0;
  std::uint64_t warn = 0;
};
// Main thread.
FreeSpaceBounds freeSpaceBounds(const SettingsStore& settings);

// Nothing where nobody can tell. Threads: any but a render thread.
std::optional<std::uint64_t> freeBytesAt(const std::string& folder);

// Why there is no room for a recording to begin; nothing where there is.
std::optional<std::string> lackOfSpace(const std::string& folder, const FreeSpaceBounds& bounds);

// How far an act of recording has come.
struct TakeExtent {
  bool isComplete = false;                 // it has the length that was asked for
  std::uint64_t bytes = 0;                 // of all its files
  std::optional<std::uint64_t> freeBytes;  // the least of its drives
};
// Why it ends.
struct TakeEnd {
  std::string reason;
  bool isWanted = true;  // else something is wrong
};
// Nothing while it goes on.
std::optional<TakeEnd> endOfTake(const TakeExtent& extent, const TakeRequest& request,
                                 const FreeSpaceBounds& bounds);
// What is to be told while it comes near.
std::optional<std::string> spaceWarning(const TakeExtent& extent, const FreeSpaceBounds& bounds);

}  // namespace sonmere
