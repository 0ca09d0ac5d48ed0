#include <gtest/gtest.h>

#include <fstream>

#include "base/AtomicFile.h"
#include "base/LiveRuntime.h"
#include "platform/desktop/DesktopEntry.h"
#include "platform/desktop/DesktopFolders.h"
#include "platform/desktop/DesktopLoginItem.h"
#include "platform/desktop/DesktopPrivilegedCommand.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace {

class LoginItemTest : public testing::Test {
 protected:
  LoginItemTest() {
    folders.config = folder / "config";
    folders.sharedConfig = {folder / "xdg"};
  }
  DesktopLoginItem item() const { return DesktopLoginItem(folders, command); }
  static void write(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }

  TemporaryFolder folder;
  DesktopFolders folders;
  const std::vector<std::string> command = {"/opt/my \"apps\"/son$mere", "run", "50%", "back\\slash", ""};
};

}  // namespace

TEST_F(LoginItemTest, TheItemIsAFileThatStartsTheCommandAsItIs) {
  EXPECT_FALSE(item().isEnabled());
  EXPECT_TRUE(item().unregisterItem());
  ASSERT_TRUE(item().registerItem());
  EXPECT_TRUE(item().isEnabled());
  const auto text = readWholeFile(item().file());
  ASSERT_TRUE(text);
  const auto entry = parseDesktopEntry(*text, "", "C");
  ASSERT_TRUE(entry);
  EXPECT_EQ(execArguments(*entry), command);
  EXPECT_TRUE(item().unregisterItem());
  EXPECT_FALSE(item().isEnabled());
  EXPECT_FALSE(std::filesystem::exists(item().file()));
}

TEST_F(LoginItemTest, WhatTheUserSwitchedOffElsewhereIsOff) {
  ASSERT_TRUE(item().registerItem());
  const std::string text = *readWholeFile(item().file());
  for (const char* off : {"Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
    write(item().file(), text + off);
    EXPECT_FALSE(item().isEnabled()) << off;
    ASSERT_TRUE(item().registerItem());
    EXPECT_TRUE(item().isEnabled());
  }
  // An item of the system is on until the user's own file hides it.
  write(folder / "xdg" / "autostart" / std::filesystem::path(item().file()).filename(), text);
  std::filesystem::remove(item().file());
  EXPECT_TRUE(item().isEnabled());
  ASSERT_TRUE(item().unregisterItem());
  EXPECT_FALSE(item().isEnabled());
}

TEST_F(LoginItemTest, AFolderThatCannotBeMadeIsTold) {
  write(folders.config, "a file");
  const auto result = item().registerItem();
  ASSERT_FALSE(result);
  EXPECT_NE(result.error().description.find(folders.config), std::string::npos) << result.error().description;
}

namespace {

// Runs "echo" by a stand-in for pkexec; the result, as a text.
std::string privileged(const std::string& pkexec, const std::string& command = "exit 0") {
  LiveRuntime runtime;
  DesktopPrivilegedCommand privileges(runtime, pkexec);
  std::string result;
  privileges.run(command, [&](Outcome<void> outcome) {
    result = outcome ? "done" : outcome.error().description;
    runtime.stop();
  });
  runtime.run();
  return result;
}

}  // namespace

TEST(DesktopPrivilegedCommand, TheResultsOfTheQuestionAndOfTheCommandAreToldApart) {
  const TemporaryFolder folder;
  const std::string pkexec = folder / "pkexec";
  std::ofstream(pkexec) << "#!/bin/sh\nexec \"$@\"\n";
  std::filesystem::permissions(pkexec, std::filesystem::perms::owner_all);
  const std::string made = folder / "made";
  EXPECT_EQ(privileged(pkexec, "echo \"it's\" > '" + made + "'"), "done");
  EXPECT_TRUE(std::filesystem::exists(made));
  EXPECT_EQ(privileged(pkexec, "exit 126"), "Operation was cancelled by the user.");
  EXPECT_EQ(privileged(pkexec, "exit 127"), "Privileged operation failed: not authorised");
  EXPECT_EQ(privileged(pkexec, "echo disk full >&2; exit 3"), "Privileged operation failed: disk full");
  EXPECT_EQ(privileged(pkexec, "kill -9 $$"),
            "Privileged operation failed: the command ended with status 137");
  EXPECT_EQ(privileged("/no/pkexec"),
            "Privileged operation failed: /no/pkexec was not found; install polkit (package pkexec)");
}

TEST(DesktopPrivilegedCommand, AQuestionStillOpenIsTakenBackAtTheEnd) {
  const TemporaryFolder folder;
  LiveRuntime runtime;
  const std::string asked = folder / "asked";
  ASSERT_EQ(mkfifo(asked.c_str(), 0600), 0);
  const std::string pkexec = folder / "pkexec";
  std::ofstream(pkexec) << "#!/bin/sh\necho > '" << asked << "'\nexec sleep 600\n";
  std::filesystem::permissions(pkexec, std::filesystem::perms::owner_all);
  {
    DesktopPrivilegedCommand privileges(runtime, pkexec);
    privileges.run("true", [](Outcome<void>) {});
    std::ifstream(asked).get();  // until it runs
  }
  // The runtime's end waits for running tasks: it comes.
}

}  // namespace sonmere
