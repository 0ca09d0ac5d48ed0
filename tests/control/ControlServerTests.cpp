#include "control/ControlServer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <filesystem>
#include <thread>

#include "base/LiveRuntime.h"
#include "control/ControlClient.h"
#include "control/ControlLink.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

// The service on a live runtime; what the clients do runs on a thread of its own.
struct LiveControlServer : testing::Test {
  void SetUp() override {
    world.launch("org.music");
    world.start().startUp();
    control.emplace(*world.app, world.platform, [this] { ++quits; });
    auto taken = InstanceLock::take(controlFolder);
    ASSERT_TRUE(taken) << taken.error().description;
    lock.emplace(std::move(*taken));
    auto endpoint = ControlEndpoint::open(*lock);
    ASSERT_TRUE(endpoint) << endpoint.error().description;
    auto started = ControlServer::start(world.runtime, world.log, *watcher, *control, std::move(*endpoint));
    ASSERT_TRUE(started);
    server = std::move(*started);
  }
  template <class Work>
  void asClient(Work work) {
    std::thread client([&] {
      work();
      world.runtime.stop();
    });
    world.runtime.run();
    client.join();
  }
  ControlClient connect() {
    auto client = ControlClient::connect(controlFolder);
    if (!client) throw std::runtime_error(client.error().description);
    return std::move(*client);
  }
  FileDescriptor rawConnection() { return std::move(*connectToControl(controlFolder)); }
  static void write(const FileDescriptor& socket, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t size = send(socket.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (size <= 0) return;
      sent += std::size_t(size);
    }
  }
  // Everything until the other side ends or `lines` whole lines have come.
  static std::string read(const FileDescriptor& socket, std::ptrdiff_t lines = -1) {
    std::string text;
    char bytes[4096];
    while (lines < 0 || std::ranges::count(text, '\n') < lines) {
      const ssize_t size = recv(socket.get(), bytes, sizeof bytes, 0);
      if (size <= 0) break;
      text.append(bytes, std::size_t(size));
    }
    return text;
  }

  AppWorld<LiveRuntime> world;
  const std::filesystem::path controlFolder = world.folder / "run";
  int quits = 0;
  std::optional<Control> control;
  std::unique_ptr<FileDescriptorWatcher> watcher =
      std::move(*FileDescriptorWatcher::create(world.runtime.mainQueue()));
  std::optional<InstanceLock> lock;
  std::unique_ptr<ControlServer> server;
};

TEST_F(LiveControlServer, AnswersInOrderTakesNotificationsAndRefusesWhatItDoesNotKnow) {
  asClient([&] {
    ControlClient client = connect();
    EXPECT_EQ((*client.call("volume", {{"app", "music"}, {"volume", 0.5}}))["app"]["volume"], 0.5);
    EXPECT_EQ(client.call("nonsense").error().code, kMethodNotFound);
    const FileDescriptor raw = rawConnection();
    write(raw, R"({"jsonrpc":"2.0","method":"quit"})"
               "\nno json\n"
               R"({"jsonrpc":"2.0","id":"last","method":"app","params":{"app":"music"}})"
               "\n");
    shutdown(raw.get(), SHUT_WR);
    const std::string answers = read(raw);
    EXPECT_EQ(std::ranges::count(answers, '\n'), 2) << "none to the notification: " << answers;
    EXPECT_LT(answers.find("-32700"), answers.find("\"last\""));
  });
  EXPECT_EQ(quits, 1);
}

TEST_F(LiveControlServer, AHalfOrOversizedMessageConcernsItsSenderAlone) {
  asClient([&] {
    const FileDescriptor half = rawConnection();
    write(half, R"({"jsonrpc":"2.0","id":1,)");
    {
      const FileDescriptor gone = rawConnection();
      write(gone, "{");
    }
    const FileDescriptor large = rawConnection();
    write(large, std::string(MessageFramer::kLongestMessage + 1, 'x'));
    EXPECT_NE(read(large).find("longer than 64 KiB"), std::string::npos);
    ControlClient loud = connect();
    const auto refused = loud.call("app", {{"app", std::string(MessageFramer::kLongestMessage, 'x')}});
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().description.find("longer than 64 KiB"), std::string::npos);
    EXPECT_TRUE(connect().call("status"));
    write(half, "\"method\":\"status\"}\n");
    EXPECT_NE(read(half, 1).find("\"result\""), std::string::npos);
  });
}

TEST_F(LiveControlServer, AFloodIsAnsweredInFullWhileOthersAreServed) {
  asClient([&] {
    const FileDescriptor flood = rawConnection();
    constexpr int kRequests = int(RequestBudget::kBurst) + 20;
    std::string text;
    for (int i = 0; i < kRequests; ++i) text += controlRequestText(i, "methods", nullptr);
    write(flood, text);
    EXPECT_TRUE(connect().call("status"));
    const std::string answers = read(flood, kRequests);
    EXPECT_EQ(std::ranges::count(answers, '\n'), kRequests);
    EXPECT_NE(answers.find("\"id\":" + std::to_string(kRequests - 1) + ","), std::string::npos);
  });
}

TEST_F(LiveControlServer, AClientThatReadsLateBlocksNobodyAndIsAnsweredInFull) {
  asClient([&] {
    const FileDescriptor slow = rawConnection();
    constexpr int kRequests = 150;  // more answers than the socket takes
    std::string text;
    for (int i = 0; i < kRequests; ++i) text += controlRequestText(i, "methods", nullptr);
    write(slow, text);
    EXPECT_TRUE(connect().call("status"));
    const std::string answers = read(slow, kRequests);
    EXPECT_EQ(std::ranges::count(answers, '\n'), kRequests);
    EXPECT_GT(answers.size(), 400'000u) << "or the socket took them all";
  });
}

TEST_F(LiveControlServer, WhoComesTooLateIsToldWhyAndComesInWhenThereIsRoom) {
  asClient([&] {
    std::vector<ControlClient> clients;
    for (std::size_t i = 0; i < ControlServer::kMostConnections; ++i) clients.push_back(connect());
    const auto late = ControlClient::connect(controlFolder);
    ASSERT_FALSE(late);
    EXPECT_EQ(late.error().code, kTooManyClients);
    EXPECT_EQ(late.error().description, "Sonmere has too many clients: 32");
    clients.pop_back();
    // Its end is noticed in its turn.
    while (!ControlClient::connect(controlFolder)) {
    }
  });
}

// Holds every descriptor that the process may still open.
struct NoDescriptors {
  NoDescriptors() {
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit low{std::min<rlim_t>(before.rlim_cur, 256), before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &low);
    for (int fd = open("/dev/null", O_RDONLY); fd >= 0; fd = open("/dev/null", O_RDONLY))
      held.emplace_back(fd);
  }
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before); }
  rlimit before{};
  std::vector<FileDescriptor> held;
};

TEST_F(LiveControlServer, WithoutADescriptorLeftAClientIsToldSo) {
  asClient([&] {
    ControlClient first = connect();
    // The sanitizer looks at each kind of object once, by means that take a descriptor.
    ASSERT_TRUE(first.call("status"));
    const FileDescriptor late(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strcpy(address.sun_path, (controlFolder / ControlEndpoint::kSocketName).c_str());
    {
      const NoDescriptors none;
      ASSERT_EQ(::connect(late.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
      EXPECT_NE(read(late).find("no file descriptor left"), std::string::npos);
      EXPECT_TRUE(first.call("status")) << "who is in stays";
    }
    EXPECT_TRUE(connect().call("status"));
  });
}

// A loop as a window has one, with the link in it.
void turn(ControlLink& link) {
  pollfd waiting{link.descriptor(), short(POLLIN | (link.wantsWrite() ? POLLOUT : 0)), 0};
  poll(&waiting, link.descriptor() < 0 ? 0 : 1, 10);
  link.process();
}

TEST_F(LiveControlServer, ALinkInAForeignLoopIsToldAndComesBackAfterARestart) {
  std::vector<std::string> told;
  ControlLink::Handlers handlers;
  handlers.connected = [&] { told.push_back("connected"); };
  handlers.disconnected = [&](const Error& why) { told.push_back(why.description); };
  ControlLink link(controlFolder, {{Topic::apps, Topic::mixer}, 0}, handlers);
  const auto volume = [&] {
    return link.value(Topic::apps)["apps"]["org.music"]["wishes"].value("volume", 0.0);
  };
  asClient([&] {
    while (!link.isConnected()) turn(link);
    EXPECT_EQ(volume(), 1.0);
    ControlClient other = connect();
    ASSERT_TRUE(other.call("volume", {{"app", "music"}, {"volume", 0.5}}));
    while (volume() != 0.5) turn(link);
    bool isDone = false;
    link.call("mixer.master", {{"volume", 0.25}}, [&](const auto& answer) { isDone = answer.has_value(); });
    while (!isDone || link.value(Topic::mixer)["wishes"]["masterVolume"] != 0.25) turn(link);
  });
  server.reset();
  while (link.isConnected()) turn(link);
  world.app->volumeMixerEngine()->setVolume("org.music", 0.75f);
  auto started = ControlServer::start(world.runtime, world.log, *watcher, *control,
                                      std::move(*ControlEndpoint::open(*lock)));
  ASSERT_TRUE(started);
  server = std::move(*started);
  asClient([&] {
    while (!link.isConnected()) turn(link);
    EXPECT_EQ(volume(), 0.75);
  });
  EXPECT_EQ(told, (std::vector<std::string>{"connected", "Sonmere has ended", "connected"}));
}

TEST_F(LiveControlServer, TheSocketIsTheUsersAloneAndASecondInstanceIsRefused) {
  struct stat info {};
  ASSERT_EQ(stat((controlFolder / ControlEndpoint::kSocketName).c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(controlFolder.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  const auto second = InstanceLock::take(controlFolder);
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, InstanceLock::kAlreadyRunning);
  EXPECT_EQ(second.error().description,
            "Sonmere is running already (process " + std::to_string(getpid()) + ")");
  asClient([&] { EXPECT_TRUE(connect().call("status")) << "the first goes on"; });
  server.reset();
  const auto gone = ControlClient::connect(controlFolder);
  ASSERT_FALSE(gone);
  EXPECT_EQ(gone.error().code, ControlClient::kNotRunning);
  lock.reset();
  EXPECT_TRUE(InstanceLock::take(controlFolder)) << "free again";
}

TEST(ControlEndpoint, WhatAKilledInstanceLeftIsTakenOver) {
  TemporaryFolder folder;
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    const auto lock = InstanceLock::take(folder / "run");
    const auto endpoint = ControlEndpoint::open(*lock);
    const char byte = endpoint ? 'y' : 'n';
    if (::write(ready[1], &byte, 1) != 1) _exit(1);
    pause();
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  ASSERT_EQ(byte, 'y');
  EXPECT_EQ(InstanceLock::take(folder / "run").error().description,
            "Sonmere is running already (process " + std::to_string(child) + ")");
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(std::filesystem::exists(folder / "run" / ControlEndpoint::kSocketName));
  EXPECT_EQ(ControlClient::connect(folder / "run").error().code, ControlClient::kNotRunning);
  const auto lock = InstanceLock::take(folder / "run");
  ASSERT_TRUE(lock) << lock.error().description;
  const auto next = ControlEndpoint::open(*lock);
  ASSERT_TRUE(next) << next.error().description;
  EXPECT_TRUE(connectToControl(folder / "run"));
  close(ready[0]);
  close(ready[1]);
}

// Whatever a program of another version answers, a command ends with an error.
TEST(LiveControlClient, AnErrorOfAnyFormIsAnError) {
  TemporaryFolder folder;
  const auto lock = InstanceLock::take(folder / "run");
  const auto endpoint = ControlEndpoint::open(*lock);
  const std::pair<const char*, const char*> cases[] = {
      {R"({"id":1,"error":{"code":"x","message":7}})", "no reason given"},
      {R"({"id":1,"error":{}})", "no reason given"},
      {R"({"id":null,"error":{"code":-32003,"message":"full"}})", "full"},
      {R"([1])", "Sonmere answered something that is no message"},
      {"", "Sonmere answered something that is no message"}};
  for (const auto& [answer, why] : cases) {
    std::thread server([&, line = std::string(answer) + "\n"] {
      pollfd waiting{(*endpoint)->descriptor(), POLLIN, 0};
      poll(&waiting, 1, 60'000);
      const auto client = (*endpoint)->accept();
      EXPECT_GT(send(client->get(), line.data(), line.size(), MSG_NOSIGNAL), 0);
    });
    const auto refused = ControlClient::connect(folder / "run");
    server.join();
    ASSERT_FALSE(refused) << answer;
    EXPECT_EQ(refused.error().description, why);
  }
}

TEST(ControlEndpoint, AFolderThatIsNotTheUsersOrAPathThatIsTooLongIsRefused) {
  TemporaryFolder folder;
  std::filesystem::create_directory(folder / "real");
  std::filesystem::create_directory_symlink(folder / "real", folder / "link");
  EXPECT_NE(InstanceLock::take(folder / "link").error().description.find("not a folder of this user"),
            std::string::npos);
  const auto lock = InstanceLock::take(folder / std::string(120, 'x'));
  ASSERT_TRUE(lock);
  EXPECT_NE(ControlEndpoint::open(*lock).error().description.find("too long"), std::string::npos);
}

}  // namespace
}  // namespace sonmere
