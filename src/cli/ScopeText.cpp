#include "cli/ScopeText.h"

#include <string_view>

#include "cli/BusText.h"
#include "cli/GivenTrackNames.h"

namespace sonmere {

Outcome<std::string> readScope(const std::string& text) {
  constexpr std::string_view kBusWord = "bus:";
  if (!text.starts_with(kBusWord)) return text;
  const auto bus = readBus("SCOPE", text.substr(kBusWord.size()), givenTrackNames);
  if (!bus) return std::unexpected(bus.error());
  return std::string(kBusWord) + std::to_string(*bus);
}

}  // namespace sonmere
