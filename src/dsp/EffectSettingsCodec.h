#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"

namespace sonmere {

// The stored form of the effect records: a JSON object whose keys are the field names. A text that lacks a
// field, or holds one of another kind, does not decode.
std::string encodeJSON(const AppEQSettings& settings);
std::string encodeJSON(const AppLimiterSettings& settings);
std::string encodeJSON(const MasterLimiterSettings& settings);

template <class T>
std::optional<T> decodeJSON(std::string_view json);
template <>
std::optional<AppEQSettings> decodeJSON(std::string_view json);
template <>
std::optional<AppLimiterSettings> decodeJSON(std::string_view json);
template <>
std::optional<MasterLimiterSettings> decodeJSON(std::string_view json);

}  // namespace sonmere
