#include "base/RenderRetirement.h"

#include <gtest/gtest.h>

#include "base/LiveRuntime.h"
#include "base/Published.h"
#include "base/VirtualRuntime.h"

namespace sonmere {
namespace {

constexpr Duration kGrace = std::chrono::seconds(2);
constexpr Duration kLongAfter = std::chrono::hours(1);

struct RenderRetirementTest : testing::Test {
  // Retires a fresh object; the weak reference tells whether it was freed.
  std::weak_ptr<int> retire() {
    auto object = std::make_shared<int>(1);
    const std::weak_ptr<int> watch = object;
    retirement.retire(std::move(object), kGrace);
    return watch;
  }

  VirtualRuntime runtime{1};
  RenderRetirement retirement{runtime};
  std::shared_ptr<RenderReader> reader = std::make_shared<RenderReader>();
};

TEST_F(RenderRetirementTest, FreesAtTheGraceWhenNobodyReads) {
  retirement.addReader(reader);
  { const RenderReader::Block past(*reader); }
  const auto object = retire();
  runtime.advance(kGrace - Duration(1));
  EXPECT_FALSE(object.expired());
  runtime.advance(Duration(1));
  EXPECT_TRUE(object.expired());
  EXPECT_EQ(retirement.pendingCount(), 0u);
}

TEST_F(RenderRetirementTest, WaitsForTheReaderInsideItsBlockWhateverTheClockSays) {
  retirement.addReader(reader);
  auto block = std::make_unique<RenderReader::Block>(*reader);
  const auto object = retire();
  runtime.jump(kLongAfter);
  runtime.advance(kLongAfter);
  EXPECT_FALSE(object.expired());
  // A block that began later cannot have seen it.
  block.reset();
  block = std::make_unique<RenderReader::Block>(*reader);
  runtime.advance(kGrace);
  EXPECT_TRUE(object.expired());
}

TEST_F(RenderRetirementTest, HoldsEachObjectForItsOwnReadersOnly) {
  retirement.addReader(reader);
  auto block = std::make_unique<RenderReader::Block>(*reader);
  const auto held = retire();
  block.reset();
  const auto free = retire();
  block = std::make_unique<RenderReader::Block>(*reader);
  const auto heldAgain = retire();
  // A reader whose owner is gone still counts for what it may hold.
  reader.reset();
  runtime.advance(kLongAfter);
  EXPECT_TRUE(held.expired());
  EXPECT_TRUE(free.expired());
  EXPECT_FALSE(heldAgain.expired());
  block.reset();
  runtime.advance(kGrace);
  EXPECT_TRUE(heldAgain.expired());
}

TEST_F(RenderRetirementTest, DestructorsMayRetireFurtherObjects) {
  struct Chain {
    explicit Chain(std::function<void()> work) : atEnd(std::move(work)) {}
    std::function<void()> atEnd;
    ~Chain() { atEnd(); }
  };
  std::weak_ptr<int> second;
  retirement.retire(std::make_shared<Chain>([&] { second = retire(); }), kGrace);
  runtime.advance(kGrace);
  EXPECT_FALSE(second.expired());
  runtime.advance(kGrace);
  EXPECT_TRUE(second.expired());
}

// A payload that shows when it is read after its end, or half.
struct Payload {
  explicit Payload(int number) { values.fill(number); }
  ~Payload() { values.fill(-1); }
  bool isWhole() const {
    return values[0] >= 0 && std::all_of(values.begin(), values.end(), [&](int v) { return v == values[0]; });
  }
  std::array<int, 64> values;
};

TEST(RenderRetirementLive, ConcurrentReadersNeverSeeAFreedObject) {
  LiveRuntime runtime;
  RenderRetirement retirement(runtime);
  Published<Payload> published;
  published.publish(std::make_shared<Payload>(0), retirement, Duration::zero());
  std::atomic<int> blocks{0}, broken{0};
  std::vector<std::unique_ptr<CycleClock>> clocks;
  for (int i = 0; i < 2; ++i) {
    const auto reader = std::make_shared<RenderReader>();
    retirement.addReader(reader);
    clocks.push_back(runtime.startCycles("reader", Duration::zero(), [&, reader](Duration deadline) {
      const RenderReader::Block block(*reader);
      const Payload* const payload = published.load();
      for (int look = 0; look < 20; ++look) broken += payload->isWhole() ? 0 : 1;
      ++blocks;
      return deadline + std::chrono::microseconds(20);
    }));
  }
  // Without any grace: only the readers' epochs protect what they hold.
  int count = 0;
  TaskToken writer = runtime.mainQueue().repeat(std::chrono::microseconds(50), [&] {
    published.publish(std::make_shared<Payload>(++count), retirement, Duration::zero());
    if (count >= 500 && blocks >= 500) runtime.stop();
  });
  runtime.run();
  writer.cancel();
  clocks.clear();
  EXPECT_EQ(broken, 0);
}

}  // namespace
}  // namespace sonmere
