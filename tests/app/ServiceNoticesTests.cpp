#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "app/ServiceNotices.h"
#include "base/FileDescriptor.h"
#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// The service manager's side of a unit with a watchdog of two seconds.
struct Manager {
  Manager() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = (folder / "notify").string();
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setenv("WATCHDOG_USEC", "2000000", 1);
    setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
  }
  ~Manager() {
    for (const char* name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) unsetenv(name);
  }
  std::string heard() {
    std::string all;
    char text[100];
    for (ssize_t n; (n = recv(socket.get(), text, sizeof text, MSG_DONTWAIT)) > 0;)
      all += std::string(text, std::size_t(n)) + ";";
    return all;
  }

  TemporaryFolder folder;
  FileDescriptor socket{::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

TEST(ServiceNotices, TellTheServiceManagerOfStartEndAndThatTheMainQueueGoesOn) {
  Manager manager;
  VirtualRuntime runtime(1);
  {
    ServiceNotices notices(runtime);
    EXPECT_EQ(manager.heard(), "") << "not before it answers";
    EXPECT_TRUE(ServiceNotices::isService());
    notices.ready();
    EXPECT_EQ(manager.heard(), "READY=1;");
    runtime.advance(std::chrono::milliseconds(3500));
    EXPECT_EQ(manager.heard(), "WATCHDOG=1;WATCHDOG=1;WATCHDOG=1;");
    notices.stopping();
    EXPECT_EQ(manager.heard(), "STOPPING=1;");
  }
  runtime.advance(std::chrono::seconds(5));
  EXPECT_EQ(manager.heard(), "");
}

}  // namespace
}  // namespace sonmere
