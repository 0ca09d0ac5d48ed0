#include <gtest/gtest.h>

#include <map>

#include "support/MixerWorld.h"

namespace sonmere {
namespace {

// What everyday events cost in calls of the server, each a round trip of up to milliseconds: no more than a
// few, however many devices there are.
struct BoundaryCallTest : testing::TestWithParam<bool> {
  BoundaryCallTest() {
    for (int i = 0; i < 5; ++i) world.launch("app" + std::to_string(i));
    GetParam() ? world.startMixer() : world.startEngine();
    world.wait(20);
  }
  template <class Act>
  std::size_t calls(Act act) {
    const std::size_t before = world.host().ledger().size();
    act();
    world.wait(3);
    const auto ledger = world.host().ledger();
    std::map<std::string_view, int> counts;
    for (std::size_t i = before; i < ledger.size(); ++i) ++counts[operationName(ledger[i].operation)];
    std::string text;
    for (const auto& [name, count] : counts) text += std::string(name) + " " + std::to_string(count) + ", ";
    RecordProperty("calls", text);
    return ledger.size() - before;
  }

  MixerWorld world;
};

TEST_P(BoundaryCallTest, EverydayEventsCostAFewCalls) {
  EXPECT_LE(calls([&] { world.launch("new"); }), 20u);
  EXPECT_LE(calls([&] {
              SimulatedDeviceDescription device;
              device.uid = device.name = "X";
              world.host().plug(device);
            }),
            25u);
  EXPECT_LE(calls([&] { world.host().unplug("X"); }), 25u);
  EXPECT_LE(calls([&] { world.engine->setRouted("new", true); }), 30u);
  EXPECT_LE(calls([&] { world.engine->setRouted("app1", true); }), 30u) << "a second one on a bus";
  EXPECT_LE(calls([&] { world.engine->setRouted("new", false); }), 30u);
  EXPECT_EQ(calls([&] { world.wait(60); }), 0u) << "nothing happens";
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutMixer, BoundaryCallTest, testing::Bool());

}  // namespace
}  // namespace sonmere
