#include "base/SettingsValue.h"

#include <nlohmann/json.hpp>

#include "base/Base64.h"
#include "base/SettingsLevels.h"
#include "base/UTF8.h"

namespace sonmere {

namespace {

using JSON = nlohmann::json;

constexpr const char* kDataKey = "$data";
constexpr const char* kTextKey = "$text";  // one that is no UTF-8, as a path may be

// "$data", "$$data" and so on: what must not be mistaken for data or text gets one more "$" in front when
// written.
bool isMarkedKey(std::string_view key) {
  const std::size_t word = key.find_first_not_of('$');
  return word != 0 && word != std::string_view::npos &&
         (key.substr(word) == kDataKey + 1 || key.substr(word) == kTextKey + 1);
}

JSON toJSON(const SettingsValue& value);

JSON toJSON(const SettingsValue::Dictionary& dictionary) {
  JSON object = JSON::object();
  const bool mustEscape = dictionary.size() == 1 && isMarkedKey(dictionary.begin()->first);
  for (const auto& [key, value] : dictionary) object[mustEscape ? "$" + key : key] = toJSON(value);
  return object;
}

JSON toJSON(const SettingsValue::Array& array) {
  JSON list = JSON::array();
  for (const SettingsValue& value : array) list.push_back(toJSON(value));
  return list;
}

JSON toJSON(const SettingsData& data) { return {{kDataKey, toBase64(data.bytes)}}; }
JSON toJSON(const std::string& text) { return isUTF8(text) ? JSON(text) : JSON{{kTextKey, toBase64(text)}}; }
JSON toJSON(std::monostate) { return nullptr; }
template <class Scalar>
JSON toJSON(const Scalar& scalar) {
  return scalar;
}

JSON toJSON(const SettingsValue& value) {
  return std::visit([](const auto& kind) { return toJSON(kind); }, value.value);
}

bool hasLevels(const JSON& json, int most) {
  if (!json.is_structured()) return true;
  return most > 0 && std::all_of(json.begin(), json.end(),
                                 [most](const JSON& child) { return hasLevels(child, most - 1); });
}

SettingsValue fromJSON(const JSON& json);

SettingsValue fromObject(const JSON& object) {
  const bool isMarked = object.size() == 1 && isMarkedKey(object.begin().key());
  const bool isWhole = isMarked && object.begin().key()[1] != '$';
  if (isWhole && object.begin()->is_string())
    if (auto bytes = fromBase64(object.begin()->get_ref<const std::string&>()))
      return object.begin().key() == kTextKey ? SettingsValue(std::move(*bytes))
                                              : SettingsValue(SettingsData{std::move(*bytes)});
  SettingsValue::Dictionary dictionary;
  for (const auto& [key, child] : object.items()) {
    const bool isEscaped = isMarked && !isWhole;
    dictionary.emplace(isEscaped ? key.substr(1) : key, fromJSON(child));
  }
  return dictionary;
}

SettingsValue fromNumber(const JSON& number) {
  if (number.is_number_float()) return number.get<double>();
  const bool fits = !number.is_number_unsigned() ||
                    number.get<std::uint64_t>() <= std::uint64_t(std::numeric_limits<std::int64_t>::max());
  return fits ? SettingsValue(number.get<std::int64_t>()) : SettingsValue(number.get<double>());
}

SettingsValue fromJSON(const JSON& json) {
  if (json.is_boolean()) return json.get<bool>();
  if (json.is_number()) return fromNumber(json);
  if (json.is_string()) return json.get<std::string>();
  if (json.is_object()) return fromObject(json);
  if (!json.is_array()) return {};
  SettingsValue::Array array;
  for (const JSON& child : json) array.push_back(fromJSON(child));
  return array;
}

}  // namespace

std::string settingsValueToJSON(const SettingsValue& value, int indent) {
  // A string that is no UTF-8 stands as {"$text": base64}; in the keys of dictionaries such bytes become
  // U+FFFD.
  return toJSON(value).dump(indent, ' ', false, JSON::error_handler_t::replace);
}

std::optional<SettingsValue> settingsValueFromJSON(std::string_view json) {
  const JSON parsed = JSON::parse(json, nullptr, false);
  if (parsed.is_discarded() || !hasLevels(parsed, kMostValueLevels)) return std::nullopt;
  return fromJSON(parsed);
}

bool isNestedTooDeeply(std::string_view json) {
  const JSON parsed = JSON::parse(json, nullptr, false);
  return !parsed.is_discarded() && !hasLevels(parsed, kMostValueLevels);
}

int levelsOf(const SettingsValue& value) {
  int below = 0;
  const auto* text = value.as<std::string>();
  if (value.as<SettingsData>() || (text && !isUTF8(*text))) return 1;
  if (const auto* array = value.as<SettingsValue::Array>()) {
    for (const SettingsValue& child : *array) below = std::max(below, levelsOf(child));
  } else if (const auto* dictionary = value.as<SettingsValue::Dictionary>()) {
    for (const auto& [key, child] : *dictionary) below = std::max(below, levelsOf(child));
  } else {
    return 0;
  }
  return below + 1;
}

}  // namespace sonmere
