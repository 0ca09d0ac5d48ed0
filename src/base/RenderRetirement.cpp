#include "base/RenderRetirement.h"

#include <algorithm>
#include <utility>

namespace sonmere {

namespace {
// How soon to look again when a reader is still inside its block after the grace.
constexpr Duration kReaderRecheck = fromMilliseconds(50);
}  // namespace

void RenderRetirement::addReader(std::shared_ptr<RenderReader> reader) {
  std::erase_if(readers_, [](const auto& weak) { return weak.expired(); });
  readers_.push_back(reader);
}

void RenderRetirement::retire(std::shared_ptr<const void> object, Duration grace) {
  if (!object) return;
  Pending pending{std::move(object), runtime_.uptime() + grace, {}};
  for (const auto& weak : readers_)
    if (auto reader = weak.lock())
      if (const std::uint64_t epoch = reader->epoch(); epoch % 2 == 1)
        pending.inside.push_back({reader, epoch});
  pending_.push_back(std::move(pending));
  sweepLater(grace);
}

std::vector<std::shared_ptr<const void>> RenderRetirement::takePending() {
  std::vector<std::shared_ptr<const void>> objects;
  for (Pending& pending : std::exchange(pending_, {})) objects.push_back(std::move(pending.object));
  return objects;
}

void RenderRetirement::sweepLater(Duration delay) {
  runtime_.mainQueue().postAfter(delay, lifetime_.guard([this] { sweep(); }));
}

void RenderRetirement::sweep() {
  const Duration now = runtime_.uptime();
  bool waitsForReader = false;
  std::vector<Pending> kept, freed;
  for (Pending& pending : pending_) {
    std::erase_if(pending.inside, [](const Held& held) { return held.reader->epoch() != held.epoch; });
    const bool due = now >= pending.notBefore;
    waitsForReader |= due && !pending.inside.empty();
    (due && pending.inside.empty() ? freed : kept).push_back(std::move(pending));
  }
  pending_ = std::move(kept);
  // A destructor below may retire further objects: the list is complete by now.
  freed.clear();
  if (waitsForReader) sweepLater(kReaderRecheck);
}

}  // namespace sonmere
