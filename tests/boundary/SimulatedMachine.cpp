#include <map>

#include "BoundaryMachine.h"
#include "base/Log.h"
#include "base/VirtualRuntime.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {

namespace {

class SimulatedMachine final : public BoundaryMachine {
 public:
  SimulatedMachine() {
    platform_.host().plugStandardMachine();
    platform_.host().installDriver();
  }
  std::string problem() override { return {}; }
  Platform& platform() override { return platform_; }
  Runtime& runtime() override { return runtime_; }
  ProcessID ownPID() override { return SimulatedOptions().ownPID; }
  std::string speakerUID() override { return SimulatedHost::kSpeakersUID; }
  std::string microphoneUID() override { return SimulatedHost::kMicrophoneUID; }
  void chooseOutput(const std::string& uid) override {
    platform_.host().setDefault(DefaultDevice::output, uid);
  }
  void play(const std::string& program, const std::string& deviceUID) override {
    SimulatedAppDescription description;
    description.bundleID = program;
    description.name = program;
    auto app = platform_.host().launchApp(description);
    app.setDevice(deviceUID);
    app.play(SampleSources::samples({0.5f, 0.5f}, true));
    programs_.insert_or_assign(program, app);
  }
  void end(const std::string& program) override { programs_.at(program).quit(); }
  void remove(const std::string& deviceUID) override { platform_.host().unplug(deviceUID); }
  bool until(const std::function<bool()>& condition) override {
    for (int i = 0; i < 1000 && !condition(); ++i) runtime_.advance(fromMilliseconds(10));
    return condition();
  }

 private:
  Log log_;
  VirtualRuntime runtime_{1};
  SimulatedPlatform platform_{runtime_, log_};
  std::map<std::string, SimulatedApp> programs_;
};

}  // namespace

std::unique_ptr<BoundaryMachine> newSimulatedMachine() { return std::make_unique<SimulatedMachine>(); }

}  // namespace sonmere
