#pragma once

#include <map>
#include <memory>
#include <string>

#include "base/Error.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "base/TaskToken.h"

namespace sonmere {

// How often each method was called, for the user to read: counted only where the user has turned it on, kept
// in one file of this machine, sent nowhere. No parameter, name or time is kept. Main thread.
class UsageCounts {
 public:
  static constexpr const char* kSettingKey = "sonmere.usageCounts";
  // Forbids it, whatever the other says.
  static constexpr const char* kOptOutKey = "sonmere.analyticsOptOut";
  static constexpr Duration kSaveDelay = fromSeconds(10);

  UsageCounts(Runtime& runtime, SettingsStore& settings, const std::string& folder);
  // Writes what is still unwritten.
  ~UsageCounts();

  bool isOn() const;
  void setOn(bool isOn);
  void count(const std::string& method);
  const std::map<std::string, std::int64_t>& counts() const { return counts_; }
  // The day of the first count, as "2026-01-31"; empty without any.
  const std::string& since() const { return since_; }
  const std::string& file() const { return file_; }
  // All of it, and the file.
  void clear();

 private:
  void save();

  Runtime& runtime_;
  SettingsStore& settings_;
  const std::string file_;
  const std::shared_ptr<Queue> queue_;
  std::map<std::string, std::int64_t> counts_;
  std::string since_;
  ScopedTask save_;
};

}  // namespace sonmere
