#include "app/UpdateWatch.h"

#include <fmt/format.h>

#include "app/ProgramVersion.h"
#include "base/DateText.h"

namespace sonmere {

UpdateWatch::UpdateWatch(Runtime& runtime, Log& log, SettingsStore& settings, Fetch fetch)
    : runtime_(runtime), log_(log), settings_(settings), fetch_(std::move(fetch)) {
  first_ = runtime.mainQueue().postAfter(kFirstLook, [this] { look(); });
  looks_ = runtime.mainQueue().repeat(kInterval, [this] { look(); });
}

// A clock that was set back is no reason to wait for longer.
bool UpdateWatch::isDue() const {
  if (!settings_.boolValue(kSettingKey)) return false;
  const auto last = dateFromISO8601(settings_.string(kLastCheckKey).value_or(""));
  const Date now = runtime_.wallTime();
  return !last || now - *last >= kDay || *last > now;
}

void UpdateWatch::look() {
  if (!isDue()) return;
  settings_.set(kLastCheckKey, iso8601Text(runtime_.wallTime()));
  runtime_.globalQueue().post([fetch = fetch_, &main = runtime_.mainQueue(),
                               answer = life_.guard([this](const Outcome<UpdateOffer>& outcome) {
                                 take(outcome);
                               })] { main.post([answer, outcome = fetch()] { answer(outcome); }); });
}

void UpdateWatch::take(const Outcome<UpdateOffer>& outcome) {
  if (!outcome) return log_.info("Sonmere: " + outcome.error().description);
  if (!isNewerVersion(outcome->version, kProgramVersion)) return;
  if (settings_.string(kDismissedKey) == outcome->version) return;
  log_.info(fmt::format("Sonmere: version {} is there; this is {}", outcome->version, kProgramVersion));
  offer.set(*outcome);
}

}  // namespace sonmere
