#pragma once

#include <lv2/atom/atom.h>
#include <lv2/log/log.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/lv2/UridMap.h"

namespace sonmere {

// What a plug-in may ask of its host, for one instance. Stays where it is while the instance lives.
class Lv2Features {
 public:
  // `scratch`: a folder for the files that the plug-in makes.
  Lv2Features(UridMap& urids, double sampleRate, LV2_Worker_Schedule* worker, std::string scratch);
  Lv2Features(const Lv2Features&) = delete;
  Lv2Features& operator=(const Lv2Features&) = delete;

  // Ends with null.
  const LV2_Feature* const* list() const { return pointers_.data(); }
  const std::string& scratch() const { return scratch_; }

  static bool isSupported(const char* uri);

  // Where the plug-ins of the process write their messages. Set once, before any is made.
  static inline std::function<void(const std::string&)> log;

 private:
  char* makePath(const char* path) const;

  UridMap& urids_;
  const std::string scratch_;
  const float sampleRate_;
  const std::int32_t least_ = 1, most_, nominal_ = 1024, sequence_ = 16 * 1024;
  std::array<LV2_Options_Option, 6> options_;
  LV2_Log_Log log_;
  LV2_State_Make_Path makePath_;
  LV2_State_Map_Path mapPath_;
  LV2_State_Free_Path freePath_;
  std::vector<LV2_Feature> features_;
  std::vector<const LV2_Feature*> pointers_;
};

}  // namespace sonmere
