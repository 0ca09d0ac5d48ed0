#pragma once

#include <string>

namespace sonmere {

struct DeviceState {
  std::string id;  // UID
  std::string name;
  int inputs = 0;         // channels
  int outputs = 0;        // channels
  double sampleRate = 0;  // Hz; 0: unknown
  bool isDefaultOutput = false;
  bool isDefaultInput = false;
  bool isOwn = false;  // one of the program's own
};

}  // namespace sonmere
