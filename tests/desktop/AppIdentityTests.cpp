#include <gtest/gtest.h>

#include "apps/FamilyRules.h"
#include "platform/desktop/AppIdentity.h"
#include "platform/desktop/DesktopEntries.h"
#include "platform/desktop/PlainText.h"
#include "platform/desktop/ProcessOwner.h"

namespace sonmere {

namespace {

using Arguments = std::vector<std::string>;

constexpr const char* kUser = "/user.slice/user-1000.slice/user@1000.service/app.slice/";

ProcessFact process(ProcessID pid, std::string exe, Arguments more = {}, std::string group = "") {
  ProcessFact fact;
  fact.pid = pid;
  fact.comm = std::string(baseName(exe)).substr(0, 15);
  fact.arguments = {exe};
  fact.exe = std::move(exe);
  fact.arguments.insert(fact.arguments.end(), more.begin(), more.end());
  fact.controlGroup = group.empty() ? "/user.slice/user-1000.slice/session-2.scope" : kUser + group;
  return fact;
}
const ProcessFact kManager = process(900, "/usr/lib/systemd/systemd", {"--user"});
const ProcessFact kShell = process(800, "/usr/bin/bash");

DesktopEntry entry(std::string id, std::string name, std::string exec, std::string program = "") {
  DesktopEntry result;
  result.id = std::move(id);
  result.name = std::move(name);
  result.icon = result.id + "-icon";
  result.exec = std::move(exec);
  result.program = std::move(program);
  return result;
}

DesktopEntries installed() {
  DesktopEntries entries;
  entries.add(entry("fox", "Fox Browser", "/usr/lib/fox/fox %u", "/usr/lib/fox/fox"));
  entries.add(entry("fox-webapp", "Some Web App", "/usr/lib/fox/fox --app-id=x", "/usr/lib/fox/fox"));
  entries.add(entry("net.wave.Chatter", "Chatter", "/usr/bin/chatter %U", "/opt/chatter/chatter.sh"));
  entries.add(entry("io.player.Player", "Player", "player --gui -- %U", "/usr/bin/player"));
  entries.add(entry("org.quiet.Radio", "Quiet Radio", "quietradio", "/usr/bin/quietradio"));
  entries.add(entry("tunes_tunes", "Tunes", "/snap/bin/tunes", "/usr/bin/snap"));
  DesktopEntry terminal = entry("org.term.Term", "Term", "term", "/usr/bin/term");
  terminal.isTerminal = true;
  entries.add(terminal);
  return entries;
}

AppIdentity identify(const AppProperties& stream, const AppProperties& client,
                     std::vector<ProcessFact> chain = {}) {
  return identifyApp(stream, client, ProcessFacts{std::move(chain)}, installed());
}

struct Case {
  const char* what;
  AppProperties stream, client;
  std::vector<ProcessFact> chain;
  std::string key, name;
  ProcessID owner;
};

void expectIdentities(const std::vector<Case>& cases) {
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    const AppIdentity found = identify(each.stream, each.client, each.chain);
    EXPECT_EQ(found.bundleID, each.key);
    EXPECT_EQ(found.name, each.name);
    EXPECT_EQ(found.ownerPID, each.owner);
    EXPECT_EQ(found.isSystemSound, each.key == FamilyRules::kSystemSoundsKey);
    // The families' rules must take the key as it is.
    EXPECT_EQ(FamilyRules::helperOwner(found.bundleID), std::nullopt);
  }
}

}  // namespace

TEST(AppIdentity, HelpersFoldIntoTheProcessThatOwnsThem) {
  const std::string foxScope = "app-gnome-fox-100.scope";
  const auto fox = process(100, "/usr/lib/fox/fox", {}, foxScope);
  const auto foxChild = process(101, "/usr/lib/fox/fox", {"-contentproc", "-childID", "7"}, foxScope);
  const auto chatter = process(200, "/opt/chatter/chatter");
  auto rewritten = process(202, "/opt/chatter/chatter");
  rewritten.arguments = {"/opt/chatter/chatter --type=utility --utility-sub-type=audio.mojom.AudioService"};
  const auto webKit = process(302, "/usr/libexec/webkit2gtk-4.1/WebKitWebProcess", {"7", "20"});
  const auto wrapper = process(301, "/usr/bin/bwrap", {"--args", "40", "--", "WebKitWebProcess"});
  const auto radio = process(300, "/usr/bin/quietradio");
  const auto electronApp = process(400, "/usr/lib/electron22/electron", {"/usr/lib/notes/app.asar"});
  const auto electronChild = process(401, "/usr/lib/electron22/electron", {"--type=utility", "--lang=de"});
  const auto sideBySide = process(501, "/opt/studio/audio-engine", {"--port", "9"});
  const auto studio = process(500, "/opt/studio/studio");
  expectIdentities({
      {"browser, content process, from the menu",
       {},
       {},
       {foxChild, fox, kManager},
       "fox",
       "Fox Browser",
       100},
      {"browser, typed into a shell",
       {},
       {},
       {process(111, "/usr/lib/fox/fox", {"-contentproc"}), process(110, "/usr/lib/fox/fox"), kShell},
       "fox",
       "Fox Browser",
       110},
      {"own runtime, audio helper with a command line of its own",
       {{"application.name", "Chromium"}},
       {},
       {rewritten, process(201, "/opt/chatter/chatter", {"--type=zygote"}), chatter, kManager},
       "net.wave.Chatter",
       "Chatter",
       200},
      {"web view in a sandbox of its own",
       {},
       {},
       {webKit, wrapper, radio, kManager},
       "org.quiet.Radio",
       "Quiet Radio",
       300},
      {"shared runtime", {}, {}, {electronChild, electronApp, kManager}, "notes", "notes", 400},
      {"two programs of one folder", {}, {}, {sideBySide, studio, kShell}, "studio", "studio", 500},
      {"helper whose owner has gone",
       {},
       {},
       {process(601, "/opt/gone/gone-helper"), kManager},
       "gone-helper",
       "gone-helper",
       601},
  });
}

TEST(AppIdentity, SandboxesAndControlGroupsNameTheApplication) {
  const AppProperties sandboxed = {{"pipewire.access.portal.app_id", "org.sand.Box"}};
  auto inside = process(41, "/app/bin/boxed", {}, "app-flatpak-org.sand.Box-4000.scope");
  inside.sandboxID = "org.sand.Box";
  const auto snap =
      process(51, "/snap/tunes/4/tunes", {}, "snap.tunes.tunes-b0c5a0f2-1111-4222-8333-444455556666.scope");
  expectIdentities({
      {"sandbox, as the server knows it", {}, sandboxed, {}, "org.sand.Box", "Box", 0},
      {"sandbox, as the process shows it",
       {},
       {},
       {inside, process(40, "/usr/bin/bwrap")},
       "org.sand.Box",
       "Box",
       41},
      {"sandbox, by its group alone",
       {},
       {},
       {process(42, "/app/bin/boxed", {}, "app-flatpak-org.sand.Box-4000.scope")},
       "org.sand.Box",
       "Box",
       42},
      {"number from inside a sandbox means another process",
       {},
       {{"client.api", "pipewire-pulse"},
        {"application.process.binary", "boxed"},
        {"application.name", "Boxed"}},
       {process(2, "/usr/bin/unrelated")},
       "boxed",
       "boxed",
       0},
      {"snap", {}, {}, {snap, kManager}, "tunes_tunes", "Tunes", 51},
      {"snap, as the server knows it",
       {},
       {{"pipewire.access.portal.app_id", "snap.tunes"}},
       {},
       "tunes_tunes",
       "Tunes",
       0},
      {"snap that is not installed",
       {},
       {},
       {process(52, "/snap/hum/1/hum", {}, "snap.hum.hum.b0c5a0f2-1111-4222-8333-444455556666.scope")},
       "snap.hum",
       "hum",
       52},
      {"escaped, as a service",
       {},
       {},
       {process(53, "/usr/bin/fox", {}, "app-fox\\x2dwebapp@a1.service")},
       "fox-webapp",
       "Some Web App",
       53},
      {"started by the message bus",
       {},
       {},
       {process(54, "/usr/bin/quietradio", {}, "dbus-:1.9-org.quiet.Radio@0.service")},
       "org.quiet.Radio",
       "Quiet Radio",
       54},
      {"a service that is no application",
       {},
       {},
       {process(55, "/usr/libexec/speaker", {}, "dbus-:1.9-org.quiet.Speaker@0.service")},
       "speaker",
       "speaker",
       55},
      {"helper in the ID",
       {},
       {{"pipewire.access.portal.app_id", "org.helperware.Tool"}},
       {},
       "org-helperware.Tool",
       "Tool",
       0},
  });
}

TEST(AppIdentity, ATerminalIsNotWhatRunsInIt) {
  const std::string scope = "app-org.term.Term-77.scope";
  const auto term = process(70, "/usr/bin/term", {}, scope);
  const auto player = process(72, "/usr/bin/player", {"song.ogg"}, scope);
  expectIdentities({
      {"player",
       {},
       {},
       {player, process(71, "/usr/bin/bash", {}, scope), term},
       "io.player.Player",
       "Player",
       72},
      {"player in the terminal of an editor",
       {},
       {},
       {process(76, "/usr/bin/player", {}, "app-dev.edit.Editor-9.scope"),
        process(75, "/usr/bin/zsh", {"-l"}, "app-dev.edit.Editor-9.scope")},
       "io.player.Player",
       "Player",
       76},
      {"player whose shell has ended", {}, {}, {player, kManager}, "io.player.Player", "Player", 72},
      {"the terminal's own bell", {}, {}, {term, kManager}, "org.term.Term", "Term", 70},
      {"a shell with a script is no terminal",
       {},
       {},
       {process(74, "/usr/bin/odd", {}, "app-org.quiet.Radio-5.scope"),
        process(73, "/bin/sh", {"/usr/bin/start-odd"}, "app-org.quiet.Radio-5.scope")},
       "org.quiet.Radio",
       "Quiet Radio",
       74},
  });
}

TEST(AppIdentity, AProgramIsCalledByTheLinkThatStartedIt) {
  auto linked = process(60, "/usr/bin/many-tools", {"x"});
  linked.arguments[0] = "/usr/bin/sound-tool";
  linked.comm = "sound-tool";
  auto renamed = linked;
  renamed.comm = "worker";
  expectIdentities({
      {"one program of several", {}, {}, {linked, kShell}, "sound-tool", "sound-tool", 60},
      {"a name that only the program itself tells",
       {},
       {},
       {renamed, kShell},
       "many-tools",
       "many-tools",
       60},
  });
}

TEST(AppIdentity, InterpretersYieldToWhatTheyRun) {
  const auto launcher = process(30, "/usr/games/blocklauncher");
  expectIdentities({
      {"script with an entry",
       {{"application.name", "python3"}},
       {},
       {process(1000, "/usr/bin/python3.11", {"-u", "/usr/bin/quietradio"}), kManager},
       "org.quiet.Radio",
       "Quiet Radio",
       1000},
      {"script of a plain name",
       {},
       {},
       {process(1001, "/usr/bin/python3.11", {"/opt/sampler/main.py"}), kShell},
       "sampler",
       "sampler",
       1001},
      {"module",
       {},
       {},
       {process(1002, "/usr/bin/python3", {"-m", "hummer.app", "-v"}), kShell},
       "hummer",
       "hummer",
       1002},
      {"program text on the command line",
       {{"application.name", "Beeper"}},
       {},
       {process(1003, "/usr/bin/python3", {"-c", "import beep"}), kShell},
       "Beeper",
       "Beeper",
       1003},
      {"archive",
       {},
       {},
       {process(1004, "/usr/lib/jvm/17/bin/java", {"-Xmx2G", "-jar", "/home/u/blocks.jar"}), kShell},
       "blocks",
       "blocks",
       1004},
      {"class path",
       {},
       {},
       {process(1005, "/usr/lib/jvm/17/bin/java", {"-cp", "a.jar:b.jar", "net.blocks.client.Main", "--demo"}),
        launcher},
       "net.blocks.client.Main",
       "client",
       1005},
      {"nameless interpreter under a launcher",
       {},
       {},
       {process(1006, "/usr/lib/jvm/17/bin/java", {"-version"}), launcher},
       "blocklauncher",
       "blocklauncher",
       30},
      {"Windows game",
       {{"application.process.binary", "wine64-preloader"}},
       {},
       {process(1007, "/opt/wine/bin/wine64-preloader", {"C:\\Games\\Racer.EXE", "-w"}),
        process(1006, "/opt/wine/bin/wine64-preloader", {"C:\\windows\\explorer.exe"})},
       "racer",
       "Racer",
       1007},
  });
}

TEST(AppIdentity, EveryClientLibraryGivesTheSameKey) {
  const std::vector<ProcessFact> chain = {process(61, "/usr/bin/player", {"song.ogg"}), kShell};
  const AppProperties native = {{"application.name", "Player Media"}, {"pipewire.sec.pid", "61"}};
  const AppProperties pulse = {{"client.api", "pipewire-pulse"},
                               {"application.name", "Player"},
                               {"application.process.binary", "player"},
                               {"application.process.id", "61"},
                               {"pipewire.sec.pid", "12"}};
  AppProperties alsa = pulse;
  alsa["application.name"] = "ALSA plug-in [player]";
  const AppProperties nameless = {{"application.name", "PipeWire ALSA [player]"}};
  for (const AppProperties& client : {native, pulse, alsa}) {
    EXPECT_EQ(streamProcessID({}, client), 61);
    EXPECT_EQ(identify({}, client, chain).bundleID, "io.player.Player");
    EXPECT_EQ(identify({}, client, chain).ownerPID, 61);
  }
  // With the process out of sight.
  for (const AppProperties& client : {pulse, alsa, nameless})
    EXPECT_EQ(identify({}, client).bundleID, "io.player.Player");
}

TEST(AppIdentity, EventSoundsAreOneFamilyOfTheSystem) {
  const auto source = process(61, "/usr/bin/player");
  for (const AppProperties& stream : std::vector<AppProperties>{
           {{"media.role", "Notification"}}, {{"media.role", "event"}}, {{"event.id", "bell-terminal"}}}) {
    const AppIdentity found = identify(stream, {{"application.name", "libsounds"}}, {source});
    EXPECT_EQ(found,
              (AppIdentity{std::string(FamilyRules::kSystemSoundsKey), "System Sounds", "", 61, true}));
  }
  EXPECT_FALSE(identify({{"media.role", "Music"}}, {}, {source}).isSystemSound);
  // Nobody else may take the family's key.
  const AppIdentity impostor = identify({}, {}, {process(62, "/tmp/systemsoundserverd")});
  EXPECT_NE(impostor.bundleID, FamilyRules::kSystemSoundsKey);
  EXPECT_NE(identify({}, {{"application.name", "__master__"}}).bundleID, FamilyRules::kMasterKey);
}

TEST(AppIdentity, SomeKeyAndNameAreAlwaysThere) {
  EXPECT_EQ(identify({}, {}).bundleID, "unknown");
  const AppIdentity broken = identify({{"application.name", "\xFFTune\nr\x01"}}, {});
  EXPECT_EQ(broken.bundleID, "\xEF\xBF\xBDTune r");
  EXPECT_EQ(streamProcessID({}, {{"application.process.id", "-4"}}), 0);
  EXPECT_EQ(streamProcessID({{"application.process.id", "2"}},
                            {{"client.api", "pipewire-pulse"}, {"pipewire.access", "flatpak"}}),
            0);
  EXPECT_EQ(
      plainText("\xC3\xA4\xED\xA0\x80 \xE2\x82"),
      "\xC3\xA4" + std::string("\xEF\xBF\xBD") + "\xEF\xBF\xBD" + "\xEF\xBF\xBD \xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(ControlGroup, NamesOfUnitsAreRead) {
  const auto desktop = [](const char* group) {
    const auto app = controlGroupApp(group);
    return app && app->kind == ControlGroupApp::Kind::desktop ? app->id : "none";
  };
  EXPECT_EQ(desktop("/a.slice/app-org.kde.player-4711.scope"), "org.kde.player");
  EXPECT_EQ(desktop("/a.slice/app-gnome-some\\x2dplayer-4711.scope/inner"), "some-player");
  EXPECT_EQ(desktop("/a.slice/app-tool@autostart.service"), "tool");
  EXPECT_EQ(desktop("/a.slice/app-gnome-tool.desktop-7.scope"), "tool");
  for (const char* none :
       {"", "/", "/app.slice/app-org.term.Term.slice/vte-spawn-1.scope", "/a/app-.scope", "/a/run-r1.scope",
        "/user.slice/session-2.scope", "/a/app-x.scope", "/a/pipewire.service"})
    EXPECT_EQ(desktop(none), "none") << none;
  EXPECT_EQ(controlGroupApp("/a/snap.tunes.daemon.service"),
            (ControlGroupApp{ControlGroupApp::Kind::snap, "tunes", "daemon"}));
}

}  // namespace sonmere
