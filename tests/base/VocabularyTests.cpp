// The small shared types: notifications, observables, tokens, identifiers, errors.
#include <gtest/gtest.h>

#include <regex>

#include "base/Error.h"
#include "base/NotificationCenter.h"
#include "base/UUID.h"
#include "base/VirtualRuntime.h"

namespace sonmere {
namespace {

TEST(NotificationCenter, CallsTheNamesObserversInOrder) {
  NotificationCenter center;
  std::string story;
  auto first =
      center.observe("changed", [&](const NotificationInfo& info) { story += "1" + info.at("key"); });
  auto second = center.observe("changed", [&](const auto&) { story += "2"; });
  auto other = center.observe("other", [&](const auto&) { story += "x"; });
  center.post("changed", {{"key", "v"}});
  center.post("nobody listens");
  EXPECT_EQ(story, "1v2");
  first.cancel();
  center.post("changed");
  EXPECT_EQ(story, "1v22");
}

TEST(NotificationCenter, ObserversMayEndAndBeginObservationsMeanwhile) {
  NotificationCenter center;
  std::string story;
  Subscription second, late;
  auto first = center.observe("n", [&](const auto&) {
    story += "1";
    second.cancel();
    if (story.size() == 1) late = center.observe("n", [&](const auto&) { story += "3"; });
  });
  second = center.observe("n", [&](const auto&) { story += "2"; });
  center.post("n");
  EXPECT_EQ(story, "1") << "cancelled before its turn; the new one waits for the next post";
  center.post("n");
  EXPECT_EQ(story, "113");
}

TEST(Observable, PublishesEachStoreUntilTheSubscriptionEnds) {
  struct Owner {
    void set(int number) { value.set(number); }
    void add(int number) {
      value.update([&](int& v) { v += number; });
    }
    void setSilently(int number) { value.silently() = number; }
    OwnedObservable<int, Owner> value{1};
  } owner;
  std::vector<int> seen;
  {
    const auto subscription = owner.value.observe([&](int v) { seen.push_back(v); });
    owner.set(2);
    owner.add(5);
    owner.setSilently(9);
  }
  owner.set(10);
  EXPECT_EQ(seen, (std::vector{2, 7}));
  EXPECT_EQ(*owner.value, 10);
}

TEST(ScopedTask, CancelsWithItsOwner) {
  VirtualRuntime runtime(1);
  int runs = 0;
  const auto later = [&] { return runtime.mainQueue().postAfter(Duration(1), [&] { ++runs; }); };
  {
    const ScopedTask dropped = later();
    ScopedTask moved = later();
    const ScopedTask taken = std::move(moved);
  }
  ScopedTask replaced = later();
  replaced = later();
  (void)later();  // a bare token cancels nothing
  runtime.advance(Duration(1));
  EXPECT_EQ(runs, 2);
}

TEST(UUID, IsRandomVersionFourInUpperCase) {
  VirtualRuntime runtime(1);
  const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    const std::string uuid = makeUUID(runtime);
    EXPECT_TRUE(std::regex_match(uuid, form)) << uuid;
    seen.insert(uuid);
  }
  EXPECT_EQ(seen.size(), 200u);
  EXPECT_EQ(makeShortUUID(runtime).size(), 8u);
}

TEST(Error, NamesTheActionAndTheSystemsReason) {
  const Error error = posixError(ENOSPC, "Write a.wav");
  EXPECT_EQ(error.domain, kPOSIXErrorDomain);
  EXPECT_EQ(error.code, 28);
  EXPECT_EQ(error.description, "Write a.wav: No space left on device");
}

}  // namespace
}  // namespace sonmere
