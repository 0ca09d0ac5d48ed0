#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "audio/effects/ChainPlan.h"
#include "audio/effects/ChainReport.h"
#include "audio/effects/EffectDetails.h"

namespace sonmere {

// What the program and its helper say to each other: JSON, one object on a line. The readers answer nothing
// for what is not of their form.
using HelperJSON = nlohmann::json;

std::string helperLine(const HelperJSON& message);

HelperJSON encodeHelper(const AvailableEffect& effect);
HelperJSON encodeHelper(const EffectDetails& details);
HelperJSON encodeHelper(const ChainPlan& plan);
HelperJSON encodeHelper(const ChainReport& report);
// States may hold any bytes.
HelperJSON encodeHelper(const std::map<int, std::string>& states);

template <class T>
std::optional<T> decodeHelper(const HelperJSON& json);
template <>
std::optional<AvailableEffect> decodeHelper(const HelperJSON& json);
template <>
std::optional<EffectDetails> decodeHelper(const HelperJSON& json);
template <>
std::optional<ChainPlan> decodeHelper(const HelperJSON& json);
template <>
std::optional<ChainReport> decodeHelper(const HelperJSON& json);
template <>
std::optional<std::map<int, std::string>> decodeHelper(const HelperJSON& json);

}  // namespace sonmere
