#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include "FakeService.h"
#include "ui/model/AppsModel.h"
#include "ui/model/BusesModel.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {
namespace {

struct ServiceLinkTest : testing::Test {
  QTemporaryDir folder;
  QString path = folder.filePath(QStringLiteral("control.sock"));
  ServiceLink link{folder.path().toStdString(), {Topic::apps, Topic::mixer}, 30};
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

TEST_F(ServiceLinkTest, MetersAreAskedForWhileSomebodyShowsThemAndAgainAfterAReturn) {
  FakeService service(path);
  const auto watches = [&] {
    std::vector<std::string> all;
    for (const ControlJSON& request : service.requests) {
      if (request["method"] == "watch") all.push_back(request["params"].dump());
    }
    return all;
  };
  int one = 0, other = 0;
  link.start();
  ASSERT_TRUE(reaches(ServiceLink::State::connected));
  link.lookAtSpectrum(QStringLiteral("music"));
  QTest::qWait(10);
  EXPECT_TRUE(watches().empty()) << "nobody shows meters";
  link.wantMeters(&one, true);
  link.wantMeters(&other, true);
  ASSERT_TRUE(QTest::qWaitFor([&] { return watches().size() == 1; }));
  EXPECT_EQ(watches()[0], R"({"on":true,"rate":30.0,"spectrum":"music"})");
  service.hangUp();
  ASSERT_TRUE(QTest::qWaitFor([&] { return watches().size() == 2; })) << "the service is back";
  link.wantMeters(&one, false);
  link.wantMeters(&other, false);
  ASSERT_TRUE(QTest::qWaitFor([&] { return watches().size() == 3; }));
  EXPECT_TRUE(QString::fromStdString(watches()[2]).contains(QStringLiteral("\"on\":false")));
}

TEST_F(ServiceLinkTest, TracksBearTheNamesThatTheUserGaveThem) {
  FakeService service(path);
  ServiceLink routing{folder.path().toStdString(), {Topic::routing}, 0};
  BusesModel buses{routing};
  EXPECT_EQ(buses.routable().size(), 9u) << "known before the service is there";
  routing.start();
  ASSERT_TRUE(QTest::qWaitFor([&] { return routing.state() == ServiceLink::State::connected; }));
  service.tell("routing", {{"wishes", {{"names", {{"4", "Drums"}, {"5", 7}}}}}});
  ASSERT_TRUE(QTest::qWaitFor([&] { return !buses.givenName(4).isEmpty(); }));
  EXPECT_EQ(buses.nameOf(4), QStringLiteral("Drums (Track 3)"));
  EXPECT_EQ(buses.nameOf(5), QStringLiteral("Track 4"));
  service.tell("routing", {{"wishes", {{"names", {{"4", nullptr}}}}}});
  ASSERT_TRUE(QTest::qWaitFor([&] { return buses.nameOf(4) == QStringLiteral("Track 3"); }));
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
