#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "app/EmbeddedPlatform.h"
#include "audio/device/Platform.h"
#include "base/Log.h"
#include "base/Runtime.h"

namespace sonmere {

class PipeWirePlatform;

// Which audio server the user asks for.
enum class PlatformWish { automatic, pipewire, simulated };
// "auto", "pipewire", "simulated"; nothing for any other text.
std::optional<PlatformWish> platformWish(std::string_view text);

// The platform that the program runs on, chosen once at start, with its name and the reason. `automatic` is
// the server of the user's session, which need not be there yet: an invented machine in its place would hide
// that. Main thread.
class PlatformChoice {
 public:
  PlatformChoice(Runtime& runtime, Log& log, PlatformWish wish);
  PlatformChoice(PlatformChoice&&) noexcept;
  ~PlatformChoice();

  Platform& platform() const;
  // "pipewire" or "simulated".
  const std::string& name() const { return name_; }
  // Of this moment.
  std::string reason() const;
  // Whether the server has a session with a default output. One that was reached may take a moment to.
  bool hasSession() const;
  // The embedded server, on which the program can play files; null on a server of others.
  EmbeddedPlatform* embedded() const { return embedded_.get(); }

 private:
  std::unique_ptr<EmbeddedPlatform> embedded_;
  std::unique_ptr<PipeWirePlatform> pipewire_;  // one of the two
  std::string name_;
  bool isAskedFor_;
};

}  // namespace sonmere
