#include "audio/engine/MonitorSources.h"

#include <algorithm>

#include "audio/engine/RenderServices.h"

namespace sonmere {

void MonitorSources::offer(MonitorPlace place, std::vector<std::shared_ptr<MonitorSource>> sources) {
  auto& present = places_[std::size_t(place)];
  if (present != sources) {
    present = std::move(sources);
    auto list = std::make_shared<MonitorList>();
    for (const auto& each : places_) list->sources.insert(list->sources.end(), each.begin(), each.end());
    mix_->list.publish(std::move(list), retirement_, kSnapshotGrace);
  }
  noteSwitched();
}

void MonitorSources::noteSwitched() {
  const auto& list = mix_->list.current();
  const auto count =
      list ? int(std::ranges::count_if(list->sources, [](const auto& each) { return each->isEnabled(); }))
           : 0;
  if (count != *enabledCount) enabledCount.set(count);
}

void MonitorSources::startLive() {
  if (const auto& list = mix_->list.current())
    for (const auto& source : list->sources)
      if (StereoRing* const ring = source->ring()) ring->requests.startLive = true;
}

}  // namespace sonmere
