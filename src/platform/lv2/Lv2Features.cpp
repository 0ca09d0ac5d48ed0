#include "platform/lv2/Lv2Features.h"

#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/parameters/parameters.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "audio/effects/PluginRenderScratch.h"

namespace sonmere {

namespace {

constexpr std::array kSupported{LV2_URID__map,
                                LV2_URID__unmap,
                                LV2_OPTIONS__options,
                                LV2_BUF_SIZE__boundedBlockLength,
                                LV2_WORKER__schedule,
                                LV2_STATE__makePath,
                                LV2_STATE__mapPath,
                                LV2_STATE__freePath,
                                LV2_STATE__loadDefaultState,
                                LV2_STATE__threadSafeRestore,
                                LV2_LOG__log,
                                LV2_CORE__isLive,
                                LV2_CORE__hardRTCapable,
                                LV2_CORE__inPlaceBroken};

constexpr std::size_t kLongestMessage = 512;

int writeLog(LV2_Log_Handle, LV2_URID, const char* format, std::va_list arguments) {
  char text[kLongestMessage];
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  if (Lv2Features::log) Lv2Features::log(text);
  return length;
}

int printLog(LV2_Log_Handle handle, LV2_URID type, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const int length = writeLog(handle, type, format, arguments);
  va_end(arguments);
  return length;
}

// Paths are kept as they are: absolute.
char* keepPath(LV2_State_Map_Path_Handle, const char* path) { return strdup(path); }

}  // namespace

bool Lv2Features::isSupported(const char* uri) {
  return std::ranges::any_of(kSupported, [uri](const char* known) { return std::strcmp(known, uri) == 0; });
}

// A name in the scratch folder, and its folders made; never outside of it.
char* Lv2Features::makePath(const char* path) const {
  const std::filesystem::path wanted = std::filesystem::path("/" + std::string(path)).lexically_normal();
  const auto full = std::filesystem::path(scratch_ + wanted.string());
  std::error_code ignored;
  std::filesystem::create_directories(full.parent_path(), ignored);
  return strdup(full.c_str());
}

Lv2Features::Lv2Features(UridMap& urids, double sampleRate, LV2_Worker_Schedule* worker, std::string scratch)
    : urids_(urids),
      scratch_(std::move(scratch)),
      sampleRate_(float(sampleRate)),
      most_(std::int32_t(kMaxPluginFrames)),
      log_{nullptr, printLog, writeLog},
      makePath_{this, [](LV2_State_Make_Path_Handle self,
                         const char* path) { return static_cast<Lv2Features*>(self)->makePath(path); }},
      mapPath_{nullptr, keepPath, keepPath},
      freePath_{nullptr, [](LV2_State_Free_Path_Handle, char* path) { std::free(path); }} {
  const LV2_URID whole = urids.map(LV2_ATOM__Int), real = urids.map(LV2_ATOM__Float);
  const auto option = [&](const char* key, LV2_URID type, const void* value) {
    return LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, urids.map(key), 4, type, value};
  };
  options_ = {option(LV2_BUF_SIZE__minBlockLength, whole, &least_),
              option(LV2_BUF_SIZE__maxBlockLength, whole, &most_),
              option(LV2_BUF_SIZE__nominalBlockLength, whole, &nominal_),
              option(LV2_BUF_SIZE__sequenceSize, whole, &sequence_),
              option(LV2_PARAMETERS__sampleRate, real, &sampleRate_),
              LV2_Options_Option{LV2_OPTIONS_INSTANCE, 0, 0, 0, 0, nullptr}};
  features_ = {{LV2_URID__map, urids.mapFeature()},
               {LV2_URID__unmap, urids.unmapFeature()},
               {LV2_OPTIONS__options, options_.data()},
               {LV2_BUF_SIZE__boundedBlockLength, nullptr},
               {LV2_LOG__log, &log_},
               {LV2_STATE__makePath, &makePath_},
               {LV2_STATE__mapPath, &mapPath_},
               {LV2_STATE__freePath, &freePath_},
               {LV2_STATE__loadDefaultState, nullptr},
               {LV2_CORE__isLive, nullptr},
               {LV2_WORKER__schedule, worker}};
  for (const LV2_Feature& feature : features_) pointers_.push_back(&feature);
  pointers_.push_back(nullptr);
}

}  // namespace sonmere
