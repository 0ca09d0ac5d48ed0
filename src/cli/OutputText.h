#pragma once

#include <string>

namespace sonmere {

// A device with two of its channels, as it is written: "headset", or "interface:3/4". Channels count from 1.
struct OutputText {
  std::string device;
  int left = 1;
  int right = 2;
};

// What stands behind the last colon belongs to the device's name unless it is two numbers.
OutputText readOutput(const std::string& text);

}  // namespace sonmere
