#include "app/PlatformChoice.h"

namespace sonmere {

namespace {

// A server of others, or why there is none.
Outcome<std::unique_ptr<Platform>> openPipeWire(Runtime&, Log&) {
  return std::unexpected(Error{"Platform", 1, "this build has no PipeWire platform"});
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
