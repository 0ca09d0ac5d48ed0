#include "app/PlatformChoice.h"

#include "platform/pipewire/PipeWirePlatform.h"

namespace sonmere {

namespace {

// A server that has just started has no default device yet; without one apps can be routed all the same.
constexpr Duration kSessionTimeout = std::chrono::seconds(5);

// A server of others, or why there is none.
Outcome<std::unique_ptr<Platform>> openPipeWire(Runtime& runtime, Log& log) {
  std::string reason;
  if (!PipeWirePlatform::answers({}, reason)) return std::unexpected(Error{"Platform", 1, reason});
  auto platform = std::make_unique<PipeWirePlatform>(runtime, log);
  platform->waitUntilReady(kSessionTimeout);
  return platform;
}

}  // namespace

std::optional<PlatformWish> platformWish(std::string_view text) {
  if (text == "auto") return PlatformWish::automatic;
  if (text == "pipewire") return PlatformWish::pipewire;
  if (text == "simulated") return PlatformWish::simulated;
  return std::nullopt;
}

Outcome<PlatformChoice> PlatformChoice::choose(Runtime& runtime, Log& log, PlatformWish wish) {
  const auto embedded = [&](std::string reason) {
    return PlatformChoice(std::make_unique<EmbeddedPlatform>(runtime, log), std::move(reason));
  };
  if (wish == PlatformWish::simulated) return embedded("asked for");
  auto opened = openPipeWire(runtime, log);
  const bool isAsked = wish == PlatformWish::pipewire;
  if (opened)
    return PlatformChoice(std::move(*opened), "pipewire", isAsked ? "asked for" : "its server answers");
  if (!isAsked) return embedded("no other server answers: " + opened.error().description);
  return std::unexpected(Error{"Platform", 1,
                               "the PipeWire server can't be used: " + opened.error().description +
                                   "; --platform simulated runs on the embedded server"});
}

}  // namespace sonmere
