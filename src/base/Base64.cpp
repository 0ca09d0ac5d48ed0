#include "base/Base64.h"

#include <array>
#include <cstdint>

namespace sonmere {

namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> kDigitValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < kDigits.size(); ++i) values[std::uint8_t(kDigits[i])] = std::int8_t(i);
  return values;
}();

}  // namespace

std::string toBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = (group << 8) | (k < count ? std::uint8_t(bytes[i + k]) : 0);
    for (std::size_t k = 0; k < 4; ++k) text += k <= count ? kDigits[(group >> (18 - 6 * k)) & 63] : '=';
  }
  return text;
}

std::optional<std::string> fromBase64(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  const std::size_t digits = text.size() - padding;
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  int bitCount = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    const int digit = kDigitValues[std::uint8_t(text[i])];
    if (digit < 0) return std::nullopt;
    bits = (bits << 6) | std::uint32_t(digit);
    bitCount += 6;
    if (bitCount < 8) continue;
    bitCount -= 8;
    bytes += char((bits >> bitCount) & 0xFF);
  }
  // The bits that padding leaves over carry nothing.
  if ((bits & ((1u << bitCount) - 1)) != 0) return std::nullopt;
  return bytes;
}

}  // namespace sonmere
