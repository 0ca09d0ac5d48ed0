#pragma once

#include <lv2/urid/urid.h>

#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>

namespace sonmere {

// Numbers for URIs, for as long as the map lives. Threads: any but a render thread; plug-ins call it too.
class UridMap {
 public:
  UridMap();
  UridMap(const UridMap&) = delete;
  UridMap& operator=(const UridMap&) = delete;

  LV2_URID map(const char* uri);
  // Null for a number that was not given out.
  const char* unmap(LV2_URID number);

  LV2_URID_Map* mapFeature() { return &map_; }
  LV2_URID_Unmap* unmapFeature() { return &unmap_; }

 private:
  std::mutex mutex_;
  std::deque<std::string> uris_;  // number 1 first; a text stays where it is
  std::unordered_map<std::string, LV2_URID> numbers_;
  LV2_URID_Map map_;
  LV2_URID_Unmap unmap_;
};

}  // namespace sonmere
