#include "control/UsageCounts.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "base/DateText.h"
#include "base/SettingsLevels.h"

namespace sonmere {

using JSON = nlohmann::json;

UsageCounts::UsageCounts(Runtime& runtime, SettingsStore& settings, const std::string& folder)
    : runtime_(runtime),
      settings_(settings),
      file_(folder + "/usage.json"),
      queue_(runtime.serialQueue("sonmere.usage")) {
  const auto text = readWholeFile(file_);
  if (!text || isNestedTooDeeply(*text)) return;
  const JSON kept = JSON::parse(*text, nullptr, false);
  if (!kept.is_object() || !kept.contains("since") || !kept["since"].is_string()) return;
  since_ = kept["since"];
  const JSON counts = kept.value("counts", JSON());
  if (!counts.is_object()) return;
  for (const auto& [method, count] : counts.items())
    if (count.is_number_integer()) counts_[method] = count;
}

UsageCounts::~UsageCounts() {
  if (save_) save();
}

bool UsageCounts::isOn() const {
  return settings_.boolValue(kSettingKey) && !settings_.boolValue(kOptOutKey);
}

void UsageCounts::setOn(bool isOn) { settings_.set(kSettingKey, isOn); }

void UsageCounts::count(const std::string& method) {
  if (!isOn()) return;
  if (since_.empty()) since_ = localDateText(runtime_.wallTime(), "%Y-%m-%d");
  ++counts_[method];
  if (!save_) save_ = runtime_.mainQueue().postAfter(kSaveDelay, [this] { save(); });
}

// A disk that hangs holds nobody up.
void UsageCounts::save() {
  save_ = {};
  queue_->post([file = file_, text = JSON{{"since", since_}, {"counts", counts_}}.dump(2) + "\n"] {
    if (createFolders(std::filesystem::path(file).parent_path())) (void)writeFileAtomically(file, text);
  });
}

void UsageCounts::clear() {
  save_ = {};
  counts_.clear();
  since_.clear();
  queue_->post([file = file_] {
    std::error_code ignored;
    std::filesystem::remove(file, ignored);
  });
}

}  // namespace sonmere
