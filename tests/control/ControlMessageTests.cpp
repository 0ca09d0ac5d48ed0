#include "control/ControlMessage.h"

#include <gtest/gtest.h>

#include <random>

#include "control/MessageFramer.h"

namespace sonmere {
namespace {

TEST(ControlMessage, WhatIsNoRequestIsRefusedWithItsCodeAndIdentifier) {
  struct Case {
    std::string text;
    int code;
    ControlJSON id;
  };
  const Case cases[] = {
      {"", kParseError, nullptr},
      {"{", kParseError, nullptr},
      {"{\"jsonrpc\":\"2.0\",\"method\":\"\xff\"}", kParseError, nullptr},
      {std::string(5000, '['), kParseError, nullptr},
      {std::string(5000, '[') + std::string(5000, ']'), kParseError, nullptr},
      {"[]", kInvalidRequest, nullptr},
      {"17", kInvalidRequest, nullptr},
      {R"({"id":1,"method":"status"})", kInvalidRequest, 1},
      {R"({"jsonrpc":"1.0","id":"x","method":"status"})", kInvalidRequest, "x"},
      {R"({"jsonrpc":"2.0","id":{},"method":"status"})", kInvalidRequest, nullptr},
      {R"({"jsonrpc":"2.0","id":2})", kInvalidRequest, 2},
      {R"({"jsonrpc":"2.0","id":2,"method":7})", kInvalidRequest, 2},
      {R"({"jsonrpc":"2.0","id":2,"method":"a","params":[1]})", kInvalidParams, 2},
  };
  for (const Case& each : cases) {
    const auto request = parseControlRequest(each.text);
    ASSERT_FALSE(request) << each.text;
    EXPECT_EQ(request.error().code, each.code) << each.text;
    EXPECT_EQ(request.error().id, each.id) << each.text;
    EXPECT_FALSE(request.error().message.empty());
  }
}

TEST(ControlMessage, RequestsComeThroughAndAnswersAreOneLine) {
  const auto request = parseControlRequest(controlRequestText(5, "volume", {{"app", "a\nb"}}));
  ASSERT_TRUE(request);
  EXPECT_EQ(request->id, 5);
  EXPECT_EQ(request->method, "volume");
  EXPECT_EQ(request->params["app"], "a\nb");
  EXPECT_FALSE(parseControlRequest(R"({"jsonrpc":"2.0","method":"quit"})")->id) << "a notification";
  for (const std::string& line :
       {controlResult(1, {{"text", "a\n\xff"}}), controlFailure(nullptr, -1, "b\n\xfe")}) {
    EXPECT_EQ(line.find('\n'), line.size() - 1);
    EXPECT_FALSE(ControlJSON::parse(line, nullptr, false).is_discarded());
  }
}

TEST(MessageFramer, AnyCutOfAStreamGivesTheSameLines) {
  std::mt19937 random(7);
  std::string stream;
  std::vector<std::string> lines;
  for (int i = 0; i < 200; ++i) {
    const std::string line(std::uniform_int_distribution<std::size_t>(0, 300)(random), char('a' + i % 26));
    stream += line + (i % 3 == 0 ? "\r\n" : "\n");
    lines.push_back(line);
  }
  for (int round = 0; round < 20; ++round) {
    MessageFramer framer(400);
    std::vector<std::string> found;
    for (std::size_t at = 0; at < stream.size();) {
      const auto size = std::uniform_int_distribution<std::size_t>(1, 700)(random);
      framer.append(std::string_view(stream).substr(at, size));
      ASSERT_FALSE(framer.hasOverflowed());
      at += size;
      while (auto line = framer.next()) found.push_back(*line);
    }
    EXPECT_EQ(found, lines);
  }
}

TEST(MessageFramer, TheLimitIsExactHoweverTheLineEndsAndIsCut) {
  for (const std::string end : {"\n", "\r\n"})
    for (const std::size_t length : {9u, 10u, 11u})
      for (std::size_t cut = 1; cut < 20; ++cut) {
        MessageFramer framer(10);
        const std::string stream = "one\n" + std::string(length, 'x') + end + "two\n";
        std::vector<std::string> found;
        for (std::size_t at = 0; at < stream.size(); at += cut) {
          framer.append(std::string_view(stream).substr(at, cut));
          while (auto line = framer.next()) found.push_back(*line);
        }
        const bool fits = length <= 10;
        EXPECT_EQ(framer.hasOverflowed(), !fits) << length << " cut " << cut;
        ASSERT_EQ(found.size(), fits ? 3u : 1u) << length << " cut " << cut;
        EXPECT_EQ(found.front(), "one");
      }
}

TEST(MessageFramer, AnOverflowWaitsForTheLinesBeforeIt) {
  MessageFramer framer(10);
  framer.append("one\n\n01234567890");
  EXPECT_FALSE(framer.hasOverflowed());
  EXPECT_EQ(framer.next(), "one");
  EXPECT_EQ(framer.next(), "");
  EXPECT_EQ(framer.next(), std::nullopt);
  EXPECT_TRUE(framer.hasOverflowed());
  framer.append("\ntwo\n");
  EXPECT_EQ(framer.next(), std::nullopt) << "nothing more after that";
}

}  // namespace
}  // namespace sonmere
