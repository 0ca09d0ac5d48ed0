#include <gtest/gtest.h>

#include <fstream>

#include "platform/desktop/DesktopEntries.h"
#include "platform/desktop/DesktopFolders.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace {

void write(const std::filesystem::path& path, const std::string& text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path) << text;
}

std::optional<std::vector<std::string>> arguments(std::string exec) {
  DesktopEntry entry;
  entry.name = "My Player";
  entry.icon = "icon";
  entry.file = "/f.desktop";
  entry.exec = std::move(exec);
  return execArguments(entry);
}

using List = std::vector<std::string>;

}  // namespace

TEST(DesktopEntry, TheMainGroupIsReadInTheUsersLanguage) {
  const std::string text =
      "# comment\n[Desktop Entry]\r\nType = Application\nName=Player\nName[de]=Spieler\nName[de_AT]=Spüler\n"
      "Name[sr@latin]=Plejer\nComment=a\\nb\nIcon=play\\sicon\nExec=player %U\nStartupWMClass=Plr\n"
      "Categories=Audio;TerminalEmulator;\nNoDisplay=true\n[Desktop Action New]\nName=New "
      "Window\nExec=other\n";
  const auto entry = parseDesktopEntry(text, "a.Player", "de_AT.UTF-8");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->name, "Spüler");
  EXPECT_EQ(entry->icon, "play icon");
  EXPECT_EQ(entry->exec, "player %U");
  EXPECT_EQ(entry->wmClass, "Plr");
  EXPECT_TRUE(entry->noDisplay && entry->isTerminal && !entry->hidden);
  EXPECT_EQ(parseDesktopEntry(text, "", "de_CH")->name, "Spieler");
  EXPECT_EQ(parseDesktopEntry(text, "", "sr_RS.UTF-8@latin")->name, "Plejer");
  EXPECT_EQ(parseDesktopEntry(text, "", "C")->name, "Player");
  for (const char* none :
       {"", "Name=x", "[Desktop Entry]\nType=Link\nName=x\n", "[Desktop Entry]\nType=Application"})
    EXPECT_FALSE(parseDesktopEntry(none, "", "C")) << none;
}

TEST(DesktopEntry, ExecIsTakenApartWithoutAShell) {
  EXPECT_EQ(arguments("player --gui -- %U"), (List{"player", "--gui", "--"}));
  EXPECT_EQ(arguments(R"("/opt/my player/run" "a \"b\" \$c \\" %f)"),
            (List{"/opt/my player/run", R"(a "b" $c \)"}));
  EXPECT_EQ(arguments("p %i --caption %c --file=%k 100%% %d;rm"),
            (List{"p", "--icon", "icon", "--caption", "My Player", "--file=/f.desktop", "100%", ";rm"}));
  EXPECT_EQ(arguments(R"(p "")"), (List{"p", ""}));
  EXPECT_EQ(arguments(R"(p "open)"), std::nullopt);
  EXPECT_EQ(arguments("  "), std::nullopt);
  EXPECT_EQ(arguments("%f"), std::nullopt);
}

TEST(DesktopEntries, TheUsersOwnFilesWinAndHiddenOnesAreNotThere) {
  const TemporaryFolder folder;
  const auto file = [&](const char* place, const char* name, const std::string& more) {
    write(folder / place / "applications" / name, "[Desktop Entry]\nType=Application\nExec=player\n" + more);
  };
  file("user", "a.desktop", "Name=Mine\n");
  file("user", "gone.desktop", "Hidden=true\n");
  file("system", "a.desktop", "Name=Theirs\n");
  file("system", "gone.desktop", "Name=Gone\n");
  file("system", "kde/b.desktop", "Name=Nested\n");
  file("system", "broken.desktop", "");
  file("system", "notes.txt", "Name=Not an entry\n");
  const auto entries = DesktopEntries::read({folder / "user", folder / "missing", folder / "system"}, "C");
  ASSERT_TRUE(entries.find("a"));
  EXPECT_EQ(entries.find("a")->name, "Mine");
  EXPECT_EQ(entries.find("kde-b")->name, "Nested");
  for (const char* none : {"gone", "broken", "notes", ""}) EXPECT_FALSE(entries.find(none)) << none;
}

TEST(DesktopEntries, ProgramsAreFoundThroughLinksAndWrappers) {
  const TemporaryFolder folder;
  const auto program = folder / "lib" / "suite" / "suite-start";
  write(program, "#!/bin/sh\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  std::filesystem::create_directories(folder / "bin");
  std::filesystem::create_symlink(program, folder / "bin" / "suite-stable");
  const auto file = [&](const char* name, const std::string& exec) {
    write(folder / "data" / "applications" / name,
          "[Desktop Entry]\nType=Application\nName=N\nStartupWMClass=Suite\nExec=" + exec + "\n");
  };
  file("suite.desktop", (folder / "bin" / "suite-stable").string() + " %U");
  file("suite-doc.desktop", (folder / "bin" / "suite-stable").string() + " --document %U");
  file("python3.desktop", "/usr/bin/python3");
  const auto entries = DesktopEntries::read({folder / "data"}, "C");
  const auto find = [&](const std::string& exe) {
    const auto* entry = entries.findByProgram(programName(exe, {}));
    return entry ? entry->id : "none";
  };
  EXPECT_EQ(find(program), "suite");
  EXPECT_EQ(find(folder / "lib" / "suite" / "suite.bin"), "suite") << "a file of the program's own folder";
  EXPECT_EQ(find("/elsewhere/Suite"), "suite") << "the name that its windows bear";
  EXPECT_EQ(find("/usr/bin/python3"), "none");
  EXPECT_EQ(find(folder / "lib" / "other"), "none");
}

TEST(DesktopFolders, TheSpecificationsDefaultsAndTheUsersWishesHold) {
  const TemporaryFolder home;
  write(home / ".config" / "user-dirs.dirs",
        "# c\nXDG_MUSIC_DIR=\"$HOME/Kl\\\"nge/\"\nXDG_DESKTOP_DIR=\"$HOME/\"\n");
  std::map<std::string, std::string> variables = {{"HOME", home.path()}, {"XDG_STATE_HOME", "relative"}};
  const auto read = [&] { return DesktopFolders::ofUser([&](const char* name) { return variables[name]; }); };
  const std::string h = home.path();
  DesktopFolders folders = read();
  EXPECT_EQ(folders.config, h + "/.config");
  EXPECT_EQ(folders.state, h + "/.local/state");
  EXPECT_EQ(folders.music, h + "/Kl\"nge");
  EXPECT_EQ(folders.settingsFile, h + "/.config/sonmere/settings.json");
  EXPECT_EQ(folders.engineFolders().defaultRecordings, h + "/Kl\"nge/Sonmere Recordings");
  EXPECT_EQ(folders.runtime, "");
  EXPECT_EQ(folders.sharedData, (List{"/usr/local/share", "/usr/share"}));
  variables["XDG_CONFIG_HOME"] = "/elsewhere";
  variables["XDG_DATA_DIRS"] = "/one::two:/three";
  variables["SONMERE_SETTINGS"] = "/s.json";
  folders = read();
  EXPECT_EQ(folders.music, h + "/Music");
  EXPECT_EQ(folders.sharedData, (List{"/one", "/three"}));
  EXPECT_EQ(folders.settingsFile, "/s.json");
  for (const char* noHome : {"", "relative"}) {
    variables = {{"HOME", noHome}};
    folders = read();
    for (const std::string& folder : {folders.config, folders.state, folders.music, folders.settingsFile})
      EXPECT_TRUE(folder.starts_with('/')) << "never in the current folder: " << folder;
  }
  EXPECT_EQ(parseUserFolder("XDG_MUSIC_DIR=\"relative\"", "XDG_MUSIC_DIR", h), "");
}

}  // namespace sonmere
