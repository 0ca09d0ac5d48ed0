#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/EmbeddedPlatform.h"
#include "audio/device/Platform.h"
#include "base/Error.h"
#include "base/Log.h"
#include "base/Runtime.h"

namespace sonmere {

// Which audio server the user asks for.
enum class PlatformWish { automatic, pipewire, simulated };
// "auto", "pipewire", "simulated"; nothing for any other text.
std::optional<PlatformWish> platformWish(std::string_view text);

// The platform that the program runs on, chosen once at start, with its name and the reason. `automatic`
// takes a server that answers, else the embedded one. Main thread.
class PlatformChoice {
 public:
  // The error says which server was asked for and why it can't be had.
  static Outcome<PlatformChoice> choose(Runtime& runtime, Log& log, PlatformWish wish);

  Platform& platform() const { return embedded_ ? embedded_->platform() : *platform_; }
  // "pipewire" or "simulated".
  const std::string& name() const { return name_; }
  const std::string& reason() const { return reason_; }
  // The embedded server, on which the program can play files; null on a server of others.
  EmbeddedPlatform* embedded() const { return embedded_.get(); }

 private:
  PlatformChoice(std::unique_ptr<EmbeddedPlatform> embedded, std::string reason)
      : embedded_(std::move(embedded)), name_("simulated"), reason_(std::move(reason)) {}
  PlatformChoice(std::unique_ptr<Platform> platform, std::string name, std::string reason)
      : platform_(std::move(platform)), name_(std::move(name)), reason_(std::move(reason)) {}

  std::unique_ptr<EmbeddedPlatform> embedded_;
  std::unique_ptr<Platform> platform_;  // one of the two
  std::string name_;
  std::string reason_;
};

}  // namespace sonmere
