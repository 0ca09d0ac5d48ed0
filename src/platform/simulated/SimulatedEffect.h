#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "audio/effects/Effect.h"
#include "audio/effects/EffectDetails.h"
#include "base/RTScalar.h"

namespace sonmere {

// What has become of the process that an effect runs in.
struct SimulatedFate {
  enum class Kind { lives, crashed, hangs };
  std::atomic<Kind> kind{Kind::lives};
};

// An effect of the simulated machine: a gain or a delay, and what goes wrong with others when their control
// is set. Each multiplies by its gain.
class SimulatedEffect final : public Effect {
 public:
  enum class Kind { gain, delay, failing, crashing, hanging, allocating, brittle, unclean };

  static std::vector<EffectDetails> all();
  static std::optional<Kind> kindOf(std::string_view id);

  // `state` as of fullState(), or empty. `fate` is that of its process; null in this one.
  static Outcome<std::shared_ptr<Effect>> make(Kind kind, double sampleRate, const std::string& state,
                                               SimulatedFate* fate);
  ~SimulatedEffect() override;

  OSStatus render(double sampleTime, std::uint32_t frames, const float* const input[2],
                  float* const output[2]) noexcept SONMERE_NONBLOCKING override;
  double latency() const noexcept override;
  Outcome<std::string> fullState() const override;
  EffectValues values() const override;
  bool setControl(const std::string& symbol, float value) override;

  // How many there are, for invariants. Threads: any.
  static int living() noexcept;

 private:
  SimulatedEffect(Kind kind, double sampleRate, SimulatedFate* fate);
  bool readState(const std::string& state);
  OSStatus suffer(SimulatedFate::Kind kind) noexcept;
  OSStatus trouble() noexcept;
  void delay(std::uint32_t frames, float* const output[2]) noexcept;

  const Kind kind_;
  const double sampleRate_;
  SimulatedFate* const fate_;
  RTScalar<float> gain_{0};     // dB
  RTScalar<float> trouble_{0};  // not 0: what its kind does wrong happens
  RTScalar<float> time_{0};     // seconds
  std::vector<float> line_;     // two planes, each a ring
  std::size_t at_ = 0;
};

}  // namespace sonmere
