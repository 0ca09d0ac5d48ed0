#include <gtest/gtest.h>

#include <regex>

#include "audio/device/BusTable.h"
#include "base/AtomicFile.h"

namespace sonmere {

// The drop-in is written by hand, the program looks for the devices by name.
TEST(DriverDropIn, EachBusHasASinkAndASourceOfItsName) {
  const auto text = readWholeFile(SONMERE_SOURCE_DIR "/resources/driver/pipewire.conf.d/60-sonmere.conf");
  ASSERT_TRUE(text);
  std::map<std::string, std::vector<std::string>> classesByName;
  const std::regex node(R"re((capture|playback)\.props +=.*node\.name = "([^"]*)".*media\.class = (\S+))re");
  for (std::sregex_iterator at(text->begin(), text->end(), node), end; at != end; ++at)
    classesByName[(*at)[2]].push_back((*at)[1].str() + " " + (*at)[3].str());
  EXPECT_EQ(classesByName.size(), kBusUIDs.size());
  const std::vector<std::string> pair = {"capture Audio/Sink", "playback Audio/Source"};
  for (const std::string_view uid : kBusUIDs) EXPECT_EQ(classesByName[std::string(uid)], pair) << uid;
}

}  // namespace sonmere
