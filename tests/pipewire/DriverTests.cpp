#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "PrivateSession.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

// A machine on which Sonmere was never installed.
struct NewMachine : testing::Test {
  void SetUp() override {
    ASSERT_EQ(session.problem(), "");
    ASSERT_TRUE(session.control("bare"));
  }
  nlohmann::json ask(std::vector<std::string> words) {
    std::vector<std::string> command = {
        "env", "XDG_CONFIG_HOME=" + session.file("s/config"), "XDG_STATE_HOME=" + session.file("state"),
        "SONMERE_RESOURCES=" SONMERE_SOURCE_DIR "/resources", SONMERE_PROGRAM};
    command.insert(command.end(), words.begin(), words.end());
    command.emplace_back("--json");
    const std::string text = session.run(command);
    const auto begin = text.find('{');
    auto answer = nlohmann::json::parse(begin == std::string::npos ? "" : text.substr(begin), nullptr, false);
    EXPECT_FALSE(answer.is_discarded()) << text;
    return answer;
  }
  std::set<std::string> files() const {
    std::set<std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(session.file("s/config")))
      all.insert(entry.path());
    return all;
  }
  std::string verdict(const std::string& id) {
    const auto report = ask({"doctor"});
    for (const auto& each : report["findings"])
      if (each["id"] == id) return each["verdict"];
    return "";
  }
  // Names of all nodes.
  std::multiset<std::string> nodes() const {
    const std::string text = session.run({"pw-cli", "ls", "Node"});
    std::multiset<std::string> all;
    constexpr std::string_view kKey = "node.name = \"";
    for (std::size_t at = text.find(kKey); at != std::string::npos; at = text.find(kKey, at)) {
      at += kKey.size();
      all.insert(text.substr(at, text.find('"', at) - at));
    }
    return all;
  }
  PrivateSession session{256};
};

TEST_F(NewMachine, TheDevicesAppearWithoutARestartAndGoWithoutATrace) {
  const auto filesBefore = files();
  const auto nodesBefore = nodes();
  EXPECT_EQ(ask({"driver", "status"})["status"], "Driver Not Installed");
  EXPECT_EQ(verdict("driver"), "wrong");
  EXPECT_EQ(verdict("server"), "right");
  EXPECT_EQ(verdict("session-manager"), "right");
  EXPECT_EQ(verdict("default"), "right");

  const auto installed = ask({"driver", "install"});
  EXPECT_EQ(installed["devices"], 10) << installed;
  EXPECT_EQ(installed["files"], "whole");
  EXPECT_TRUE(session.hasItsManager()) << "nothing was restarted";
  EXPECT_EQ(nodes().count("ToneFerry_UID"), 2u);
  EXPECT_EQ(verdict("driver"), "right");
  EXPECT_EQ(verdict("devices"), "right");
  // A user has made one the default.
  session.run({"pw-metadata", "0", "default.configured.audio.sink", "{\"name\":\"ToneFerry_UID\"}",
               "Spa:String:JSON"});

  EXPECT_EQ(ask({"driver", "remove"})["devices"], 0);
  EXPECT_EQ(files(), filesBefore);
  EXPECT_EQ(nodes(), nodesBefore);
  EXPECT_EQ(session.run({"pw-metadata"}).find("ToneFerry"), std::string::npos)
      << "no default that is not there";
}

TEST_F(NewMachine, ARestartedServerHasTheDevicesFromTheFiles) {
  EXPECT_EQ(ask({"driver", "install"})["devices"], 10);
  session.control("kill");
  ASSERT_TRUE(session.control("restart"));
  EXPECT_EQ(ask({"driver", "status"})["devices"], 10);
  EXPECT_EQ(nodes().count("ToneFerry_UID_Track_8"), 2u) << "not twice";
}

}  // namespace
}  // namespace sonmere
