#include "cli/RuleText.h"

#include <fmt/format.h>

#include <vector>

#include "cli/ArgumentText.h"
#include "control/VolumeText.h"

namespace sonmere {

namespace {

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  bool isQuoted = false, isWord = false;
  for (const char c : text) {
    if (c == '"') {
      isQuoted = !isQuoted;
      isWord = true;
    } else if (c == ' ' && !isQuoted) {
      if (std::exchange(isWord, false)) words.push_back(std::exchange(word, ""));
    } else {
      word += c;
      isWord = true;
    }
  }
  if (isWord) words.push_back(word);
  return words;
}

// A name needs no quotes where it is the last.
std::string joined(const std::vector<std::string>& words, std::size_t from, std::size_t to) {
  std::string text;
  for (std::size_t i = from; i < to; ++i) text += (i == from ? "" : " ") + words[i];
  return text;
}

}  // namespace

Outcome<RuleReason> readReason(const std::string& text) {
  using Kind = RuleReason::Kind;
  const auto cut = text.find('=');
  const std::string kind = text.substr(0, cut),
                    subject = cut == std::string::npos ? "" : text.substr(cut + 1);
  if (kind == "mic" && subject == "on") return RuleReason{Kind::mic, ""};
  if ((kind == "app" || kind == "device") && !subject.empty())
    return RuleReason{kind == "app" ? Kind::app : Kind::device, subject};
  return badArgument(fmt::format("--when: \"{}\" is no reason; use {}", text, kReasonForm));
}

Outcome<RuleAct> readAct(const std::string& text, const TrackNamesSource& names) {
  using Kind = RuleAct::Kind;
  const auto words = wordsOf(text);
  const std::size_t count = words.size();
  RuleAct act;
  if (count >= 3 && words[0] == "profile" && words[1] == "apply") {
    act.target = joined(words, 2, count);
    return act;
  }
  if (count < 3) return badArgument(fmt::format("--do: \"{}\" is no act; use {}", text, kActForm));
  act.target = joined(words, 1, count - 1);
  if (words[0] == "route") {
    act.kind = Kind::route;
    const auto bus = readBusOrOff("--do", words.back(), names);
    if (!bus) return std::unexpected(bus.error());
    act.bus = *bus;
  } else if (words[0] == "volume") {
    act.kind = Kind::volume;
    const auto level = readVolumeLevel("--do", words.back());
    if (!level) return std::unexpected(level.error());
    act.volume = level->gain;
  } else if (words[0] == "mute") {
    act.kind = Kind::mute;
    const auto on = readSwitch("--do", words.back());
    if (!on) return std::unexpected(on.error());
    act.isMuted = *on;
  } else {
    return badArgument(fmt::format("--do: \"{}\" is no act; use {}", text, kActForm));
  }
  return act;
}

}  // namespace sonmere
