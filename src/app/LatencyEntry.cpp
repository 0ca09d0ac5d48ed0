#include "app/LatencyEntry.h"

#include <nlohmann/json.hpp>

#include "base/DateText.h"

namespace sonmere {

namespace {

using OrderedJSON = nlohmann::ordered_json;

OrderedJSON ringToJSON(const RingReport& ring) {
  return {{"id", ring.id},
          {"backlogMs", ring.backlogMs},
          {"peakMs", ring.peakMs},
          {"underruns", ring.underruns},
          {"starves", ring.starves},
          {"overflows", ring.overflows},
          {"reads", ring.reads},
          {"writeFrames", ring.writeFrames},
          {"readFrames", ring.readFrames}};
}

RingReport ringFromJSON(const OrderedJSON& json) {
  RingReport ring;
  json.at("id").get_to(ring.id);
  json.at("backlogMs").get_to(ring.backlogMs);
  json.at("peakMs").get_to(ring.peakMs);
  json.at("underruns").get_to(ring.underruns);
  json.at("starves").get_to(ring.starves);
  json.at("overflows").get_to(ring.overflows);
  json.at("reads").get_to(ring.reads);
  json.at("writeFrames").get_to(ring.writeFrames);
  json.at("readFrames").get_to(ring.readFrames);
  return ring;
}

}  // namespace

std::string latencyEntryToJSON(const LatencyEntry& entry) {
  auto rings = OrderedJSON::array();
  for (const RingReport& ring : entry.rings) rings.push_back(ringToJSON(ring));
  const OrderedJSON json = {{"date", iso8601Text(entry.date)}, {"uptime", entry.uptime}, {"rings", rings}};
  return json.dump(-1, ' ', false, OrderedJSON::error_handler_t::replace);
}

std::optional<LatencyEntry> latencyEntryFromJSON(std::string_view line) {
  try {
    const auto json = OrderedJSON::parse(line);
    const auto date = dateFromISO8601(json.at("date").get<std::string>());
    if (!date) return std::nullopt;
    LatencyEntry entry{*date, json.at("uptime").get<std::int64_t>(), {}};
    for (const auto& ring : json.at("rings")) entry.rings.push_back(ringFromJSON(ring));
    return entry;
  } catch (const OrderedJSON::exception&) {
    return std::nullopt;
  }
}

}  // namespace sonmere
