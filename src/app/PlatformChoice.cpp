#include "app/PlatformChoice.h"

#include "platform/pipewire/PipeWirePlatform.h"

namespace sonmere {

std::optional<PlatformWish> platformWish(std::string_view text) {
  if (text == "auto") return PlatformWish::automatic;
  if (text == "pipewire") return PlatformWish::pipewire;
  if (text == "simulated") return PlatformWish::simulated;
  return std::nullopt;
}

PlatformChoice::PlatformChoice(Runtime& runtime, Log& log, PlatformWish wish)
    : isAskedFor_(wish != PlatformWish::automatic) {
  if (wish == PlatformWish::simulated)
    embedded_ = std::make_unique<EmbeddedPlatform>(runtime, log);
  else
    pipewire_ = std::make_unique<PipeWirePlatform>(runtime, log);
  name_ = embedded_ ? "simulated" : "pipewire";
}

PlatformChoice::PlatformChoice(PlatformChoice&&) noexcept = default;
PlatformChoice::~PlatformChoice() = default;

Platform& PlatformChoice::platform() const {
  if (embedded_) return embedded_->platform();
  return *pipewire_;
}

std::string PlatformChoice::reason() const {
  if (!platform().hardware().processObjects()) return "it does not answer";
  return isAskedFor_ ? "asked for" : "its server answers";
}

bool PlatformChoice::hasSession() const { return embedded_ || pipewire_->waitUntilReady(Duration::zero()); }

}  // namespace sonmere
