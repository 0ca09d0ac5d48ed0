#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>

#include "PlainLv2Host.h"
#include "base/LiveRuntime.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/lv2/Lv2World.h"
#include "support/LeaksOfOthers.h"
#include "support/RealtimeGuard.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr double kRate = 48000;
constexpr std::uint32_t kBlock = 256;
constexpr float kTolerance = 1e-5f;

// Of several makers: gains, equalisers, dynamics, delays and reverbs.
constexpr const char* kSome[] = {"http://lv2plug.in/plugins/eg-amp",
                                 "http://gareus.org/oss/lv2/balance",
                                 "http://gareus.org/oss/lv2/darc#stereo",
                                 "http://gareus.org/oss/lv2/dpl#stereo",
                                 "http://gareus.org/oss/lv2/fil4#stereo",
                                 "http://gareus.org/oss/lv2/fil4#mono",
                                 "http://gareus.org/oss/lv2/nodelay",
                                 "http://gareus.org/oss/lv2/phaserotate#stereo",
                                 "http://calf.sourceforge.net/plugins/Compressor",
                                 "http://calf.sourceforge.net/plugins/Equalizer5Band",
                                 "http://calf.sourceforge.net/plugins/Reverb",
                                 "http://lsp-plug.in/plugins/lv2/comp_delay_stereo",
                                 "http://lsp-plug.in/plugins/lv2/compressor_stereo",
                                 "http://lsp-plug.in/plugins/lv2/graph_equalizer_x16_stereo"};

// With these of all that the system has.
constexpr std::size_t kMost = 64;

std::vector<std::string> someInstalled(std::size_t most) {
  const Lv2World world;
  std::vector<const LilvPlugin*> all = world.all();
  std::ranges::shuffle(all, std::mt19937(1));
  std::vector<std::string> chosen;
  for (std::size_t i = 0; i < all.size() && chosen.size() < most; ++i)
    if (const AvailableEffect effect = world.describe(all[i]); effect.obstacle.empty())
      chosen.push_back(effect.id);
  return chosen;
}

// Those that are asked for, else those above and some of all that the system has.
std::vector<std::string> plugins() {
  const char* const list = std::getenv("SONMERE_PLUGINS");
  if (!list) {
    std::vector<std::string> chosen(std::begin(kSome), std::end(kSome));
    for (const std::string& id : someInstalled(kMost - chosen.size()))
      if (std::ranges::find(chosen, id) == chosen.end()) chosen.push_back(id);
    return chosen;
  }
  std::vector<std::string> all;
  std::string text = list;
  for (std::size_t at = 0; at < text.size();) {
    const auto end = std::min(text.find(' ', at), text.size());
    if (end > at) all.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return all;
}

// A second of a sine from 20 Hz to 20 kHz, in whole blocks.
PlainLv2Host::Planes sweep() {
  const std::size_t frames = std::size_t(kRate) / kBlock * kBlock;
  PlainLv2Host::Planes planes{std::vector<float>(frames), std::vector<float>(frames)};
  double phase = 0;
  for (std::size_t i = 0; i < frames; ++i) {
    phase += 2 * std::numbers::pi * 20 * std::pow(1000.0, double(i) / double(frames)) / kRate;
    planes[0][i] = float(0.5 * std::sin(phase));
    planes[1][i] = float(0.4 * std::sin(phase + 1));
  }
  return planes;
}

float difference(const PlainLv2Host::Planes& a, const PlainLv2Host::Planes& b) {
  float most = 0;
  for (std::size_t side = 0; side < 2; ++side)
    for (std::size_t i = 0; i < a[side].size(); ++i) {
      const float off = std::abs(a[side][i] - b[side][i]);
      if (!(off <= most)) most = off;
    }
  return most;
}

PlainLv2Host::Planes renderEffect(Effect& effect, const PlainLv2Host::Planes& input) {
  PlainLv2Host::Planes output{std::vector<float>(input[0].size()), std::vector<float>(input[0].size())};
  for (std::size_t at = 0; at < input[0].size(); at += kBlock) {
    const float* const in[2] = {input[0].data() + at, input[1].data() + at};
    float* const out[2] = {output[0].data() + at, output[1].data() + at};
    EXPECT_EQ(effect.render(double(at), kBlock, in, out), noErr);
  }
  return output;
}

// Each plug-in sounds as it does alone, and comes back with its values.
TEST(RealPluginTest, SystemPluginsSoundAsTheyDoAlone) {
  setenv("LV2_PATH", "/usr/lib/lv2", 1);
  const LeaksOfOthers theirs;
  TemporaryFolder folder;
  LiveRuntime runtime;
  Log log;
  Lv2EffectsHost host(runtime, log, {SONMERE_EFFECTS, "", (folder / "files").string()});
  PlainLv2Host plain;
  const auto input = sweep();
  int tried = 0, equal = 0;
  std::string unsteady;
  for (const std::string& id : plugins()) {
    SCOPED_TRACE(id);
    if (!plain.has(id.c_str())) continue;
    ++tried;
    const auto effect = host.instantiate(id, kRate, "");
    ASSERT_TRUE(effect) << effect.error().description;
    const auto alone = plain.render(id.c_str(), kRate, kBlock, input);
    ASSERT_TRUE(alone);
    const auto heard = renderEffect(**effect, input);
    const float off = difference(heard, *alone);
    // One that is no two times the same can't be compared.
    const bool isSteady = difference(*plain.render(id.c_str(), kRate, kBlock, input), *alone) <= kTolerance;
    if (isSteady)
      EXPECT_LE(off, kTolerance);
    else
      unsteady += " " + id;
    equal += isSteady && off <= kTolerance;

    auto values = (*effect)->values();
    for (const auto& [symbol, value] : values) (*effect)->setControl(symbol, value * 0.75f);
    values = (*effect)->values();
    const auto state = (*effect)->fullState();
    ASSERT_TRUE(state) << state.error().description;
    const auto again = host.instantiate(id, kRate, *state);
    ASSERT_TRUE(again) << again.error().description;
    for (const auto& [symbol, value] : (*again)->values())
      EXPECT_NEAR(value, values[symbol], 1e-3f * std::abs(value)) << symbol;
  }
  if (tried == 0) GTEST_SKIP() << "none of the plug-ins is installed: lv2-examples, calf-plugins and others";
  std::printf("%d of %d sound as alone; not steady:%s\n", equal, tried, unsteady.c_str());
  EXPECT_GE(equal * 4, tried * 3);
}

}  // namespace
}  // namespace sonmere
