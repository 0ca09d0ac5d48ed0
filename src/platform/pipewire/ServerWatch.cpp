#include "platform/pipewire/ServerWatch.h"

#include <fmt/format.h>
#include <pipewire/pipewire.h>

namespace sonmere {

namespace {
// Three looks fit into the second within which a frozen server is to be noticed.
constexpr Duration kInterval = fromMilliseconds(300);
// A machine that is too busy for its quantum misses cycles all the time.
constexpr Duration kReportInterval = std::chrono::seconds(5);

std::string pathOf(const CycleStreamPlan& plan) {
  if (plan.kind == CycleStreamPlan::Kind::playback) return "the output to " + plan.target;
  if (plan.kind == CycleStreamPlan::Kind::capture) return "the input from " + plan.target;
  return "the capture of " + plan.description;
}
}  // namespace

ServerWatch::ServerWatch(PipeWireLoop& loop, ServerConnection& connection, Log& log,
                         std::function<Duration()> uptime)
    : loop_(loop), connection_(connection), log_(log), uptime_(std::move(uptime)) {
  const PipeWireLoop::Lock lock(loop_);
  timer_ = pw_loop_add_timer(
      loop_.events(), [](void* data, std::uint64_t) { static_cast<ServerWatch*>(data)->look(); }, this);
}

ServerWatch::~ServerWatch() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), timer_);
}

void ServerWatch::schedule(bool isOn) {
  if (isOn == isScheduled_) return;
  isScheduled_ = isOn;
  timespec value{0, isOn ? long(kInterval.count()) : 0};
  pw_loop_update_timer(loop_.events(), timer_, &value, &value, false);
}

void ServerWatch::update() {
  const bool isOn = (isNeeded && isNeeded()) || isFrozen();
  if (isOn && !isScheduled_) {
    lastCycles_ = cycles();
    lastProgress_ = uptime_();
  }
  schedule(isOn);
}

void ServerWatch::reset() {
  schedule(false);
  isAsking_ = false;
  frozenSince_.reset();
}

std::uint64_t ServerWatch::cycles() const {
  std::uint64_t sum = 0;
  for (const auto& [stream, told] : streams_) sum += stream->cycles();
  return sum;
}

void ServerWatch::look() {
  const bool hasMore = tick && tick();
  reportMissed();
  const std::uint64_t now = cycles();
  if (std::exchange(lastCycles_, now) != now) {
    lastProgress_ = uptime_();
    isAsking_ = false;
    if (isFrozen()) reportThawed();
  } else if (!isAsking_) {
    // A stream may stand still because its device does; only silence of the server itself is a freeze.
    isAsking_ = true;
    connection_.ping([this] {
      isAsking_ = false;
      if (isFrozen()) reportThawed();
    });
  } else if (!isFrozen()) {
    reportFrozen();
  }
  if (!hasMore) update();
}

void ServerWatch::reportMissed() {
  if (lastReport_ && uptime_() - *lastReport_ < kReportInterval) return;
  for (auto& [stream, told] : streams_) {
    const MissedCycles now = stream->missed();
    if (now.times == told.times) continue;
    lastReport_ = uptime_();
    log_.warning(
        fmt::format("Sonmere: the audio server went on without {} {} times, {:.1f} ms are missing there",
                    pathOf(stream->plan()), now.times - told.times,
                    double(now.frames - told.frames) / stream->plan().format.sampleRate * 1000));
    told = now;
  }
}

void ServerWatch::reportFrozen() {
  frozenSince_ = lastProgress_;
  log_.error("Sonmere: the audio server has stopped answering; routes go on when it does");
}

void ServerWatch::reportThawed() {
  log_.warning(fmt::format("Sonmere: the audio server answers again after {:.1f} s",
                           toSeconds(uptime_() - *frozenSince_)));
  frozenSince_.reset();
}

}  // namespace sonmere
