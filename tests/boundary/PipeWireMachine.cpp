#include <sndfile.h>

#include <map>
#include <nlohmann/json.hpp>

#include "../pipewire/PrivateSession.h"
#include "BoundaryMachine.h"
#include "base/LiveRuntime.h"
#include "base/Log.h"
#include "platform/pipewire/PipeWirePlatform.h"

namespace sonmere {

namespace {

constexpr Duration kPatience = std::chrono::seconds(20);

void writeLoudFile(const std::string& path) {
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = 2;
  info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
  const std::vector<float> second(96000, 0.5f);
  SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
  for (int i = 0; i < 120; ++i) sf_write_float(file, second.data(), sf_count_t(second.size()));
  sf_close(file);
}

class PipeWireMachine final : public BoundaryMachine {
 public:
  PipeWireMachine() {
    if (session_.problem().empty()) writeLoudFile(session_.file("loud.wav"));
  }
  std::string problem() override {
    if (!session_.problem().empty()) return session_.problem();
    return platform_.waitUntilReady(kPatience) ? std::string() : "the session has no default device";
  }
  Platform& platform() override { return platform_; }
  Runtime& runtime() override { return runtime_; }
  ProcessID ownPID() override { return getpid(); }
  std::string speakerUID() override { return "fake.speaker"; }
  std::string microphoneUID() override { return "fake.mic"; }
  void chooseOutput(const std::string& uid) override {
    session_.run({"pw-metadata", "0", "default.configured.audio.sink", "{ \"name\": \"" + uid + "\" }",
                  "Spa:String:JSON"});
  }
  void play(const std::string& program, const std::string& deviceUID) override {
    programs_[program] = session_.launch({program, "--target", deviceUID, session_.file("loud.wav")});
  }
  void end(const std::string& program) override { programs_.at(program).end(); }
  void remove(const std::string& deviceUID) override {
    for (const auto& object : nlohmann::json::parse(session_.run({"pw-dump"}), nullptr, false))
      if (object.value("/info/props/node.name"_json_pointer, "") == deviceUID)
        session_.run({"pw-cli", "destroy", std::to_string(object.value("id", 0))});
  }
  bool until(const std::function<bool()>& condition) override {
    const Duration end = runtime_.uptime() + kPatience;
    while (!condition()) {
      if (runtime_.uptime() > end) return false;
      const TaskToken wake = runtime_.mainQueue().postAfter(fromMilliseconds(5), [this] { runtime_.stop(); });
      runtime_.run();
      wake.cancel();
    }
    return true;
  }

 private:
  PrivateSession session_;
  LiveRuntime runtime_;
  Log log_;
  PipeWirePlatform platform_{runtime_, log_, {session_.socket(), ""}};
  std::map<std::string, SessionProgram> programs_;
};

}  // namespace

std::unique_ptr<BoundaryMachine> newPipeWireMachine() { return std::make_unique<PipeWireMachine>(); }

}  // namespace sonmere
