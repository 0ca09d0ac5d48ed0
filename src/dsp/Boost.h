#pragma once

#include <algorithm>

namespace sonmere {

// Largest volumes, with boost above 100 % allowed and without.
constexpr float maxAppVolume(bool boostAllowed) { return boostAllowed ? 4.0f : 1.0f; }
constexpr float maxMasterVolume(bool boostAllowed) { return boostAllowed ? 2.0f : 1.0f; }

// An incoming volume held to 0 up to the maximum; not a number counts as 0.
constexpr float clampAppVolume(float volume, bool boostAllowed) {
  return volume > 0 ? std::min(volume, maxAppVolume(boostAllowed)) : 0.0f;
}
constexpr float clampMasterVolume(float volume, bool boostAllowed) {
  return volume > 0 ? std::min(volume, maxMasterVolume(boostAllowed)) : 0.0f;
}

}  // namespace sonmere
