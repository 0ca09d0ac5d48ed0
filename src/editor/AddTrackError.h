#pragma once

#include <string>

namespace sonmere {

// Why a file did not become a track, shown under "Couldn't add track".
struct AddTrackError {
  enum class Kind { atCap, importFailed, duplicate, decodeFailed };
  static constexpr const char* kTitle = "Couldn't add track";

  Kind kind = Kind::decodeFailed;
  int cap = 0;       // atCap: how many tracks a project can have
  std::string text;  // importFailed: the reason

  static AddTrackError atCap(int tracks) { return {Kind::atCap, tracks, {}}; }
  static AddTrackError importFailed(std::string reason) { return {Kind::importFailed, 0, std::move(reason)}; }
  static AddTrackError duplicate() { return {Kind::duplicate, 0, {}}; }
  static AddTrackError decodeFailed() { return {Kind::decodeFailed, 0, {}}; }

  std::string description() const;
  bool operator==(const AddTrackError&) const = default;
};

}  // namespace sonmere
