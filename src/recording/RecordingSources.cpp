#include "recording/RecordingSources.h"

#include <algorithm>

#include "audio/device/BusTable.h"

namespace sonmere {

namespace {

constexpr Duration kComingUp = fromMilliseconds(200);

}  // namespace

RecordingSources::RecordingSources(const RecordingContext& context, BusRecordings& recordings,
                                   std::function<bool()> bridgeIsFed)
    : context_(context),
      recordings_(recordings),
      bridgeIsFed_(std::move(bridgeIsFed)),
      rows_(recordings.busRecordingStatuses.observe([this](const auto& rows) {
        if (!switchedOn_.empty() && !rows.contains(kBridgeBus)) releaseWhenIdle();
      })) {}

// All, where the layout tells them apart; else all where none plays.
std::vector<const RecordingSources::Source*> RecordingSources::lacking() const {
  std::vector<const Source*> off;
  const RecordingLayout layout = recordingLayout(context_.settings);
  for (const Source& source : sources_)
    if (!source.isOn() && !(layout == RecordingLayout::dualMono && source.fillsBothChannels))
      off.push_back(&source);
  if (layout == RecordingLayout::mixed && (off.size() < sources_.size() || bridgeIsFed_())) off.clear();
  return off;
}

std::vector<std::string> RecordingSources::missing() const {
  std::vector<std::string> names;
  for (const Source* source : lacking()) names.push_back(source->name);
  return names;
}

void RecordingSources::prepare(std::function<void()> start) {
  const auto off = lacking();
  for (const Source* source : off) {
    source->set(true);
    switchedOn_.push_back(source->set);
  }
  if (off.empty()) return start();
  isPreparing_ = true;
  comingUp_ = context_.runtime.mainQueue().postAfter(kComingUp, [this, start = std::move(start)] {
    isPreparing_ = false;
    start();
    releaseWhenIdle();
  });
}

// A recording may go on in a new file within this turn.
void RecordingSources::releaseWhenIdle() {
  look_ = context_.runtime.mainQueue().postAfter(Duration::zero(), [this] {
    if (!isPreparing_ && !recordings_.isRecording(kBridgeBus)) release();
  });
}

void RecordingSources::release() {
  for (const auto& set : std::exchange(switchedOn_, {})) set(false);
}

}  // namespace sonmere
