#include "cli/VolumeParams.h"

#include "control/VolumeText.h"

namespace sonmere {

Outcome<ControlJSON> readVolumeParams(const std::string& text) {
  using Kind = VolumeText::Kind;
  const auto volume = readVolume("VOLUME", text);
  if (!volume) return std::unexpected(volume.error());
  const char* const name = volume->kind == Kind::level  ? "volume"
                           : volume->kind == Kind::step ? "step"
                                                        : "stepDb";
  return ControlJSON{{name, volume->value}};
}

}  // namespace sonmere
