#include "base/LargeVector.h"

#include <gtest/gtest.h>

#include <numeric>

namespace sonmere {

namespace {

bool isCounting(const LargeVector<float>& list) {
  for (std::size_t i = 0; i < list.size(); ++i)
    if (list[i] != float(i)) return false;
  return !list.empty();
}

}  // namespace

// Lists that share an arena, one of which outgrows it, and what becomes of them when it is theirs alone.
TEST(LargeVector, KeepsItsNumbersInAnArenaAndBeyondIt) {
  constexpr std::size_t kPart = LargeArena::kPage / sizeof(float) * 3 / 4;
  auto arena = std::make_shared<LargeArena>(2 * kPart * sizeof(float));
  const std::weak_ptr<LargeArena> watched = arena;
  LargeVector<float> first{LargeAllocator<float>(arena)}, second{LargeAllocator<float>(arena)};
  for (LargeVector<float>* list : {&first, &second}) {
    list->reserve(kPart);
    EXPECT_TRUE(arena->owns(list->data()));
    list->resize(kPart);
    EXPECT_EQ(std::accumulate(list->begin(), list->end(), 0.0f), 0) << "fresh memory";
    std::iota(list->begin(), list->end(), 0.0f);
  }
  second.reserve(2 * kPart);
  EXPECT_FALSE(arena->owns(second.data())) << "no room left";
  arena = nullptr;

  const LargeVector<float> copy = first;
  second.resize(kPart + 1, float(kPart));
  {
    const LargeVector<float> moved = std::move(first);
    first = LargeVector<float>();
    EXPECT_TRUE(isCounting(copy) && isCounting(moved) && isCounting(second));
    EXPECT_TRUE(watched.lock()->owns(moved.data()) && !watched.lock()->owns(copy.data()));
    second = LargeVector<float>();
    EXPECT_FALSE(watched.expired());
  }
  EXPECT_TRUE(watched.expired()) << "given back with the last list";
}

}  // namespace sonmere
