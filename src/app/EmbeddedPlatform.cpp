#include "app/EmbeddedPlatform.h"

#include <vector>

#include "platform/effects/Lv2EffectsHost.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {

struct EmbeddedPlatform::Parts {
  struct Program {
    SimulatedApp app;
    std::unique_ptr<SampleSource> source;
  };

  Parts(Runtime& itsRuntime, Log& log)
      : runtime(itsRuntime),
        plugins(runtime, log, Lv2EffectsHost::standardOptions()),
        platform(runtime, log) {
    platform.effects().setOutside(&plugins);
  }

  Runtime& runtime;
  Lv2EffectsHost plugins;  // the system's
  SimulatedPlatform platform;
  std::vector<Program> programs;
};

EmbeddedPlatform::EmbeddedPlatform(Runtime& runtime, Log& log)
    : parts_(std::make_unique<Parts>(runtime, log)) {
  parts_->platform.host().plugStandardMachine();
  parts_->platform.host().installDriver();
}

EmbeddedPlatform::~EmbeddedPlatform() = default;

std::string EmbeddedPlatform::ownBundleID() { return SimulatedOptions{}.ownBundleID; }

Platform& EmbeddedPlatform::platform() { return parts_->platform; }

Outcome<void> EmbeddedPlatform::launchApp(const std::string& bundleID, const std::string& file, bool loop,
                                          FileFailure failed) {
  auto toMainQueue = [&runtime = parts_->runtime, failed = std::move(failed)](const Error& error) {
    runtime.mainQueue().post([failed, error] { failed(error); });
  };
  auto source = SampleSources::file(file, loop, std::move(toMainQueue));
  if (!source) return std::unexpected(source.error());
  SimulatedAppDescription description;
  description.bundleID = bundleID;
  description.name = bundleID;
  auto app = parts_->platform.host().launchApp(std::move(description));
  parts_->programs.push_back({std::move(app), std::move(*source)});
  return {};
}

void EmbeddedPlatform::playAll() {
  for (Parts::Program& program : parts_->programs)
    if (program.source) program.app.play(std::move(program.source));
}

void EmbeddedPlatform::stopAll() {
  for (Parts::Program& program : parts_->programs) program.app.stop();
}

}  // namespace sonmere
