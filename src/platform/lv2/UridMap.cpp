#include "platform/lv2/UridMap.h"

namespace sonmere {

UridMap::UridMap()
    : map_{this,
           [](LV2_URID_Map_Handle self, const char* uri) { return static_cast<UridMap*>(self)->map(uri); }},
      unmap_{this, [](LV2_URID_Unmap_Handle self, LV2_URID number) {
               return static_cast<UridMap*>(self)->unmap(number);
             }} {}

LV2_URID UridMap::map(const char* uri) {
  const std::lock_guard lock(mutex_);
  const auto [found, isNew] = numbers_.try_emplace(uri, LV2_URID(uris_.size() + 1));
  if (isNew) uris_.emplace_back(uri);
  return found->second;
}

const char* UridMap::unmap(LV2_URID number) {
  const std::lock_guard lock(mutex_);
  return number == 0 || number > uris_.size() ? nullptr : uris_[number - 1].c_str();
}

}  // namespace sonmere
