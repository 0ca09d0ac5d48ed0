#include <gtest/gtest.h>

#include <QLocalServer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "ui/model/AppsModel.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {
namespace {

// A service that answers as a test says.
class FakeService {
 public:
  explicit FakeService(const QString& path) {
    server_.listen(path);
    QObject::connect(&server_, &QLocalServer::newConnection, [this] {
      QLocalSocket* socket = server_.nextPendingConnection();
      peers_.push_back(socket);
      QObject::connect(socket, &QLocalSocket::readyRead, [this, socket] {
        while (socket->canReadLine()) take(socket, socket->readLine());
      });
    });
  }

  void say(const ControlJSON& message) {
    peers_.back()->write(QByteArray::fromStdString(message.dump() + "\n"));
  }
  void sayRaw(const QByteArray& bytes) { peers_.back()->write(bytes); }
  // A change of what was told last.
  void tell(const char* topic, const ControlJSON& patch) {
    const std::int64_t from = version_++;
    say({{"jsonrpc", "2.0"},
         {"method", "changed"},
         {"params", {{"topic", topic}, {"from", from}, {"version", version_}, {"patch", patch}}}});
  }
  void hangUp() {
    for (auto* peer : peers_) peer->disconnectFromServer();
  }
  bool isConnected() const { return !peers_.empty(); }

  bool answers = true;
  std::vector<ControlJSON> requests;

 private:
  void take(QLocalSocket* socket, const QByteArray& line) {
    const ControlJSON request = ControlJSON::parse(line.toStdString());
    requests.push_back(request);
    if (!answers) return;
    ControlJSON result = ControlJSON::object();
    if (request["method"] == "subscribe") {
      version_ = 1;
      for (const auto& topic : request["params"]["topics"])
        result["topics"][topic.get<std::string>()] = {{"version", 1}, {"value", ControlJSON::object()}};
    }
    const ControlJSON answer = {{"jsonrpc", "2.0"}, {"id", request["id"]}, {"result", result}};
    socket->write(QByteArray::fromStdString(answer.dump() + "\n"));
  }

  QLocalServer server_;
  std::vector<QLocalSocket*> peers_;
  std::int64_t version_ = 1;
};

struct ServiceLinkTest : testing::Test {
  QTemporaryDir folder;
  QString path = folder.filePath(QStringLiteral("control.sock"));
  ServiceLink link{folder.path().toStdString(), {Topic::apps, Topic::mixer}, 0};
  AppsModel apps{link};

  bool reaches(ServiceLink::State state) {
    return QTest::qWaitFor([&] { return link.state() == state; }, 5000);
  }
  ControlJSON anApp(const char* id, double volume) {
    ControlJSON value = {{"order", {id}}};
    value["apps"][id] = {{"facts", {{"name", id}, {"running", true}}}, {"wishes", {{"volume", volume}}}};
    return value;
  }
};

TEST_F(ServiceLinkTest, FollowsTheServiceThroughItsEndAndReturn) {
  link.start();
  ASSERT_TRUE(reaches(ServiceLink::State::gone));
  EXPECT_FALSE(link.reason().isEmpty());
  {
    FakeService service(path);
    ASSERT_TRUE(reaches(ServiceLink::State::connected));
    service.tell("apps", anApp("music", 0.5));
    ASSERT_TRUE(QTest::qWaitFor([&] { return apps.apps().size() == 1; }));
    EXPECT_FLOAT_EQ(apps.apps()[0].volume, 0.5f);
    service.hangUp();
    ASSERT_TRUE(reaches(ServiceLink::State::gone));
    ASSERT_TRUE(reaches(ServiceLink::State::connected));
    EXPECT_EQ(service.requests.back()["method"], "subscribe") << "what it follows is asked for again";
    EXPECT_TRUE(apps.apps().empty()) << "and what the service then has holds";
  }
}

TEST_F(ServiceLinkTest, NonsenseIsNoServiceAndDoesNoHarm) {
  FakeService service(path);
  link.start();
  ASSERT_TRUE(reaches(ServiceLink::State::connected));
  for (const char* value :
       {"null", "5", "\"x\"", R"({"order":[1,"a","b"],"apps":{"a":7,"b":{"facts":{"name":1}}}})"}) {
    service.tell("apps", ControlJSON::parse(value));
    service.sayRaw(QByteArray(R"({"method":"meters","params":)") + value + "}\n");
  }
  service.tell("apps", anApp("after", 1));
  ASSERT_TRUE(QTest::qWaitFor([&] { return !apps.apps().empty() && apps.apps()[0].id == "after"; }));
  // What nobody waits for is passed over; what is no message ends the connection, and the next one begins
  // anew.
  service.sayRaw("{\"id\":1,\"error\":{\"message\":5,\"code\":\"x\"}}\n{\"method\":7}\n");
  for (const char* line :
       {R"({"method":"changed","params":[]})", R"({"method":"changed","params":{"topic":3,"from":"a"}})",
        "HTTP/1.1 400 Bad Request"}) {
    service.sayRaw(QByteArray(line) + "\n");
    EXPECT_TRUE(reaches(ServiceLink::State::gone)) << line;
    ASSERT_TRUE(reaches(ServiceLink::State::connected)) << line;
  }
}

TEST_F(ServiceLinkTest, ADragSendsTheNewestValueAndNoQueue) {
  FakeService service(path);
  link.start();
  ASSERT_TRUE(reaches(ServiceLink::State::connected));
  ASSERT_TRUE(QTest::qWaitFor([&] { return service.requests.size() == 2; }));
  for (int i = 1; i <= 100; ++i) apps.setVolume(QStringLiteral("music"), static_cast<float>(i) / 100);
  ASSERT_TRUE(QTest::qWaitFor([&] { return service.requests.size() == 4; }));
  EXPECT_EQ(service.requests[2]["params"]["volume"], 0.01);
  EXPECT_EQ(service.requests[3]["params"]["volume"], 1.0);
  QTest::qWait(20);
  EXPECT_EQ(service.requests.size(), 4u);
}

TEST_F(ServiceLinkTest, CallsEndWithAReasonWhenTheServiceGoes) {
  FakeService service(path);
  link.start();
  ASSERT_TRUE(reaches(ServiceLink::State::connected));
  service.answers = false;
  QSignalSpy answered(&apps, &AppsModel::answered);
  apps.setMuted(QStringLiteral("music"), true);
  ASSERT_TRUE(QTest::qWaitFor([&] { return service.requests.back()["method"] == "mute"; }));
  service.hangUp();
  ASSERT_TRUE(QTest::qWaitFor([&] { return answered.count() == 1; }));
  EXPECT_EQ(answered.first().at(0).toString(), QStringLiteral("music"));
  EXPECT_TRUE(answered.first().at(2).toBool());
}

}  // namespace
}  // namespace sonmere
