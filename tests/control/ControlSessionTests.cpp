#include "control/ControlSession.h"

#include <gtest/gtest.h>

#include "base/VirtualRuntime.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

// Clients of the service without sockets, so that time can be virtual.
struct ControlSessionTest : testing::Test {
  ControlSessionTest() { world.app->startUp(); }
  struct Client {
    // Takes what there is to read.
    std::string read() {
      const std::string text(session->output());
      session->sent(text.size());
      return text;
    }
    std::ptrdiff_t answers() const { return std::ranges::count(session->output(), '\n'); }
    std::shared_ptr<ControlSession> session;
  };
  Client connect() {
    Client client{std::make_shared<ControlSession>(world.runtime, control, methods, states)};
    client.session->start([] {});
    return client;
  }
  void wait(double seconds) { world.runtime.advance(fromSeconds(seconds)); }
  static std::string requests(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) text += controlRequestText(i, "profiles", nullptr);
    return text;
  }

  AppWorld<VirtualRuntime> world{1};
  Control control{world.start(), world.platform, [] {}};
  ControlMethods methods{control};
  TopicStates states{control};
};

constexpr int kBurst = int(RequestBudget::kBurst);

TEST_F(ControlSessionTest, AFloodIsAnsweredAtThePaceOfItsBudgetAndInTurns) {
  Client flood = connect(), other = connect();
  flood.session->receive(requests(kBurst + 50));
  EXPECT_EQ(flood.answers(), ControlSession::kRequestsAtOnce) << "then it is the next one's turn";
  other.session->receive(requests(1));
  EXPECT_EQ(other.answers(), 1);
  wait(0.04);
  EXPECT_LT(flood.answers(), kBurst + 5);
  EXPECT_GT(flood.answers(), kBurst - 10);
  EXPECT_FALSE(flood.session->wantsInput()) << "what is more stays unread";
  wait(0.2);
  EXPECT_LT(flood.answers(), kBurst + 25);
  EXPECT_EQ(other.answers(), 1);
  wait(0.5);
  EXPECT_EQ(flood.answers(), kBurst + 50) << "in full";
  EXPECT_TRUE(flood.session->wantsInput());
}

// Feeds pieces for as long as they are read, at one moment; answers how many were.
int pieces(ControlSession& session, const std::string& piece) {
  int count = 0;
  for (; session.wantsInput() && count < 10'000; ++count) session.receive(piece);
  return count;
}

TEST_F(ControlSessionTest, LinesAndPiecesThatAskForNothingCostBudgetToo) {
  EXPECT_LE(pieces(*connect().session, "\n"), kBurst);
  EXPECT_LE(pieces(*connect().session, "{"), kBurst) << "without an end of line";
  EXPECT_LE(pieces(*connect().session, std::string(16'384, '\n')), 1);
  std::string blank(MessageFramer::kLongestMessage, ' ');
  blank.push_back('\n');
  EXPECT_LE(pieces(*connect().session, blank), kBurst / 16 + 1);
  Client client = connect();
  pieces(*client.session, "\n");
  EXPECT_FALSE(client.session->wantsInput());
  wait(0.1);
  EXPECT_TRUE(client.session->wantsInput()) << "there is some again";
  client.session->receive(requests(1));
  EXPECT_EQ(client.answers(), 1);
}

TEST_F(ControlSessionTest, AnswersThatAreNotReadHoldBackFurtherRequestsAndNothingIsLost) {
  Client slow = connect();
  constexpr std::size_t kLong = 60'000;
  // Each answer carries the long name back.
  std::string text;
  for (int i = 0; i < 40; ++i) text += controlRequestText(i, std::string(kLong, 'n'), nullptr);
  std::size_t at = 0;
  std::string answers;
  for (int round = 0; round < 2'000 && std::ranges::count(answers, '\n') < 40; ++round) {
    for (; slow.session->wantsInput() && at < text.size(); at += 16'384)
      slow.session->receive(std::string_view(text).substr(at, 16'384));
    EXPECT_LE(slow.session->output().size(), ControlSession::kMostUnread + kLong + 200);
    EXPECT_FALSE(slow.session->isOver());
    wait(0.05);
    if (round < 400) continue;
    answers += slow.read();
  }
  EXPECT_EQ(std::ranges::count(answers, '\n'), 40);
  EXPECT_GT(answers.size(), 2 * ControlSession::kMostUnread);
}

TEST_F(ControlSessionTest, RequestsInHandAreHeldBackToo) {
  Client slow = connect();
  constexpr int kRequests = 1'000;
  std::string text;
  for (int i = 0; i < kRequests; ++i) text += controlRequestText(i, "methods", nullptr);
  slow.session->receive(text);
  wait(20);
  const std::string_view held = slow.session->output();
  EXPECT_GT(held.size(), ControlSession::kMostUnread);
  EXPECT_LE(held.size(), ControlSession::kMostUnread + held.find('\n') + 10) << "one answer more";
  slow.session->receiveEnd();
  std::ptrdiff_t answers = 0;
  for (int i = 0; i < 30 && !slow.session->isOver(); ++i) {
    answers += std::ranges::count(slow.read(), '\n');
    wait(5);
  }
  EXPECT_EQ(answers, kRequests);
  EXPECT_TRUE(slow.session->isOver());
}

TEST_F(ControlSessionTest, WhatIsBehindALineThatIsTooLongIsNotCarriedOut) {
  Client client = connect();
  client.session->receive(requests(1));
  client.session->receive(std::string(MessageFramer::kLongestMessage + 1, 'x'));
  client.session->receive("\n" + requests(1));
  const std::string answers = client.read();
  EXPECT_EQ(std::ranges::count(answers, '\n'), 2);
  EXPECT_LT(answers.find("result"), answers.find("longer than 64 KiB"));
  EXPECT_TRUE(client.session->isOver());
}

}  // namespace
}  // namespace sonmere
