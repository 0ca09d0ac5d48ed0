#pragma once

#include <QObject>
#include <QTimer>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "control/ControlLink.h"

class QSocketNotifier;

namespace sonmere {

// The window's connection to the service on Qt's loop: calls with their answers, and the topics that it
// follows; meters only while something shows them. It connects again by itself when the service comes back.
// Nothing here waits.
class ServiceLink : public QObject {
  Q_OBJECT

 public:
  enum class State { connecting, connected, gone };
  Q_ENUM(State)
  using Answer = ControlLink::Done;

  // The folder of the service's socket. `meterRate` in Hz.
  ServiceLink(std::filesystem::path folder, TopicSet topics, double meterRate, QObject* parent = nullptr);
  ~ServiceLink() override;

  void start();
  State state() const { return state_; }
  // Why the service is gone, for the user; empty otherwise.
  const QString& reason() const { return reason_; }

  // Whoever shows meters says when it begins and ends to. While nobody does the service need not tell them,
  // and nothing here wakes up.
  void wantMeters(const void* who, bool wants);
  // Of an app, "output" or "bus N"; empty: none. Comes with the meters.
  void lookAtSpectrum(const QString& of);

  // Without a connection, or when it ends before the answer, `done` hears an error.
  void call(const std::string& method, const ControlJSON& params, Answer done);
  // As call, for values that a drag sets many times: while one with this key is under way only the newest
  // waits behind it.
  void callLatest(const std::string& key, const std::string& method, const ControlJSON& params, Answer done);

 signals:
  void stateChanged();
  void told(sonmere::Topic topic, const sonmere::TopicJSON& value);
  void metered(const sonmere::ControlJSON& meters);

 private:
  struct Latest {
    bool isUnderWay = false;
    std::function<void()> next;
  };
  void process();
  // The descriptor that Qt's loop watches is that of the link.
  void watch();
  void unwatch();
  void enter(State state, const QString& reason = {});
  void finishLatest(const std::string& key);
  void watchMeters();

  ControlLink link_;
  QTimer retry_;
  QTimer patience_;
  std::unique_ptr<QSocketNotifier> readable_;
  std::unique_ptr<QSocketNotifier> writable_;
  State state_ = State::connecting;
  QString reason_;
  std::map<std::string, Latest> latest_;
  const double meterRate_;
  std::set<const void*> meterViewers_;
  std::string spectrum_;
  bool isWatching_ = false;
};

}  // namespace sonmere
