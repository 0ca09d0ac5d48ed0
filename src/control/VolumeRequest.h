#pragma once

namespace sonmere {

// A volume, or a step from the present one. Linear: 1.0 is 100 %.
struct VolumeRequest {
  float value = 1;
  bool isStep = false;
};

enum class SwitchRequest { off, on, toggle };

}  // namespace sonmere
