#pragma once

#include <QLocalServer>
#include <QLocalSocket>
#include <map>
#include <vector>

#include "control/ControlMessage.h"

namespace sonmere {

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
    std::int64_t& version = versions_[topic];
    const std::int64_t from = version++;
    say({{"jsonrpc", "2.0"},
         {"method", "changed"},
         {"params", {{"topic", topic}, {"from", from}, {"version", version}, {"patch", patch}}}});
  }
  void hangUp() {
    for (auto* peer : peers_) peer->disconnectFromServer();
  }
  bool isConnected() const { return !peers_.empty(); }

  bool answers = true;
  // What a method answers; an empty object where nothing stands here, and an error where one does.
  std::map<std::string, ControlJSON> results;
  std::map<std::string, std::string> errors;
  std::vector<ControlJSON> requests;

 private:
  void take(QLocalSocket* socket, const QByteArray& line) {
    const ControlJSON request = ControlJSON::parse(line.toStdString());
    requests.push_back(request);
    if (!answers) return;
    const std::string method = request["method"];
    ControlJSON result = results.contains(method) ? results[method] : ControlJSON::object();
    if (request["method"] == "subscribe") {
      for (const auto& topic : request["params"]["topics"]) {
        versions_[topic.get<std::string>()] = 1;
        result["topics"][topic.get<std::string>()] = {{"version", 1}, {"value", ControlJSON::object()}};
      }
    }
    ControlJSON answer = {{"jsonrpc", "2.0"}, {"id", request["id"]}};
    if (const auto error = errors.find(method); error != errors.end())
      answer["error"] = {{"code", -32000}, {"message", error->second}};
    else
      answer["result"] = result;
    socket->write(QByteArray::fromStdString(answer.dump() + "\n"));
  }

  QLocalServer server_;
  std::vector<QLocalSocket*> peers_;
  std::map<std::string, std::int64_t> versions_;  // by topic
};

}  // namespace sonmere
