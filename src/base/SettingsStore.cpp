#include "base/SettingsStore.h"

namespace sonmere {

namespace {

// The value when it is of kind T.
template <class T>
std::optional<T> read(const SettingsStore& store, std::string_view key) {
  auto value = store.object(key);
  if (!value) return std::nullopt;
  if (T* const found = std::get_if<T>(&value->value)) return std::move(*found);
  return std::nullopt;
}

}  // namespace

std::optional<bool> SettingsStore::optionalBool(std::string_view key) const { return read<bool>(*this, key); }

std::optional<double> SettingsStore::number(std::string_view key) const {
  const auto value = object(key);
  if (!value) return std::nullopt;
  if (const double* number = value->as<double>()) return *number;
  if (const std::int64_t* whole = value->as<std::int64_t>()) return double(*whole);
  return std::nullopt;
}

std::optional<std::string> SettingsStore::string(std::string_view key) const {
  return read<std::string>(*this, key);
}

std::optional<std::vector<std::string>> SettingsStore::stringArray(std::string_view key) const {
  const auto array = read<SettingsValue::Array>(*this, key);
  if (!array) return std::nullopt;
  std::vector<std::string> strings;
  for (const SettingsValue& value : *array) {
    const std::string* text = value.as<std::string>();
    if (!text) return std::nullopt;
    strings.push_back(*text);
  }
  return strings;
}

std::optional<SettingsValue::Dictionary> SettingsStore::dictionary(std::string_view key) const {
  return read<SettingsValue::Dictionary>(*this, key);
}

std::optional<std::string> SettingsStore::data(std::string_view key) const {
  auto data = read<SettingsData>(*this, key);
  if (!data) return std::nullopt;
  return std::move(data->bytes);
}

void SettingsStore::setStringSet(std::string_view key, const std::set<std::string>& values) {
  set(key, SettingsValue::Array(values.begin(), values.end()));
}

std::set<std::string> SettingsStore::stringSet(std::string_view key) const {
  const auto array = stringArray(key).value_or(std::vector<std::string>{});
  return {array.begin(), array.end()};
}

std::optional<SettingsValue> MemorySettingsStore::object(std::string_view key) const {
  const auto found = values_.find(key);
  if (found == values_.end() || found->second.isNull()) return std::nullopt;
  return found->second;
}

void MemorySettingsStore::set(std::string_view key, SettingsValue value) {
  values_.insert_or_assign(std::string(key), std::move(value));
}

void MemorySettingsStore::remove(std::string_view key) {
  if (const auto found = values_.find(key); found != values_.end()) values_.erase(found);
}

std::vector<std::string> MemorySettingsStore::keys() const {
  std::vector<std::string> keys;
  for (const auto& entry : values_) keys.push_back(entry.first);
  return keys;
}

}  // namespace sonmere
