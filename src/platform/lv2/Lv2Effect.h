#pragma once

#include <lilv/lilv.h>

#include <memory>
#include <string>
#include <vector>

#include "audio/effects/Effect.h"
#include "audio/effects/PluginRenderScratch.h"
#include "base/RTScalar.h"
#include "platform/lv2/Lv2Features.h"
#include "platform/lv2/Lv2Ports.h"
#include "platform/lv2/Lv2Worker.h"
#include "platform/lv2/Lv2World.h"

namespace sonmere {

// One LV2 plug-in that runs. One for a single channel is there twice, with the same controls; one with more
// inputs than two hears silence on the others. The world outlives it.
class Lv2Effect final : public Effect {
 public:
  // `state` as of fullState(), or empty. `scratch`: a folder for files that it makes.
  static Outcome<std::shared_ptr<Effect>> make(std::shared_ptr<Lv2World> world, const std::string& id,
                                               double sampleRate, const std::string& state,
                                               const std::string& scratch);
  ~Lv2Effect() override;

  OSStatus render(double sampleTime, std::uint32_t frames, const float* const input[2],
                  float* const output[2]) noexcept SONMERE_NONBLOCKING override;
  double latency() const noexcept override;
  Outcome<std::string> fullState() const override;
  EffectValues values() const override;
  bool setControl(const std::string& symbol, float value) override;

 private:
  // One instance of the plug-in, with what is connected to it.
  struct Voice {
    std::unique_ptr<Lv2Worker> worker;
    std::unique_ptr<Lv2Features> features;
    LilvOwner<LilvInstance> instance;
    std::vector<float> controls, meters;
    std::vector<std::vector<char>> events;
    std::vector<float> silence, waste;  // planes
    bool isActive = false;
  };
  Lv2Effect(std::shared_ptr<Lv2World> world, const LilvPlugin* plugin, double sampleRate);

  bool isSingle() const { return ports_.audioInputs.size() == 1 && ports_.audioOutputs.size() == 1; }
  bool addVoice(const std::string& scratch);
  void connect(Voice& voice);
  Outcome<void> restore(const std::string& state);
  void restore(const LilvState* state);
  void resetEvents(Voice& voice) noexcept;
  void connectAudio(Voice& voice, std::size_t side, std::uint32_t frames, const float* const input[2],
                    float* const output[2]) noexcept;
  void run(Voice& voice, std::uint32_t frames) noexcept;
  const Lv2Ports::Control* find(const std::string& symbol) const;

  const std::shared_ptr<Lv2World> world_;
  const LilvPlugin* const plugin_;
  const double sampleRate_;
  const Lv2Ports ports_;
  const LV2_URID sequence_, chunk_, real_;
  int latencyMeter_ = -1;  // its place among the meters
  std::vector<Voice> voices_;
  std::vector<RTScalar<float>> wanted_;  // the controls as they are set, by their order
  std::vector<float> middle_;            // of both sides, for one input
  RTScalar<float> latencyFrames_{0};
};

}  // namespace sonmere
