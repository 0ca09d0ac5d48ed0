#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "app/ToneFerryApp.h"
#include "base/Lifetime.h"
#include "base/Observable.h"
#include "control/Topic.h"

namespace sonmere {

// Tells which topics may have changed, once a turn of the main queue however much happened in it. Whoever is
// told looks at the values: they may be as before. Before the first observer it listens to nothing. Main
// thread.
class TopicWatch {
 public:
  explicit TopicWatch(ToneFerryApp& app) : app_(app) {}
  ~TopicWatch();

  [[nodiscard]] Subscription observe(std::function<void(const TopicSet&)> observer);
  // Something was asked of the engines, and what came of it may show anywhere.
  void mark(const TopicSet& topics);
  void markAll() { mark({kTopics.begin(), kTopics.end()}); }

 private:
  void listen();
  template <class Value>
  void on(const Observable<Value>& value, TopicSet topics) {
    observers_.push_back(value.observe([this, topics = std::move(topics)](const Value&) { mark(topics); }));
  }
  void listenToRouting();
  void listenToInput();
  void listenToMonitor();
  void listenToRoutes();
  void listenToSystem();
  void listenToRecordings();
  void listenToDevices();
  void listenToRates();
  void listenTo(AudioObjectID object, AudioProperty property, std::vector<ListenerID>& listeners,
                void (TopicWatch::*changed)());
  void rateChanged() { mark({Topic::devices, Topic::mixer}); }
  void devicesChanged();
  void tell();

  ToneFerryApp& app_;
  bool isListening_ = false;
  TopicSet marked_;
  std::vector<Subscription> observers_;
  std::vector<ListenerID> listeners_;
  std::vector<ListenerID> rateListeners_;  // of the devices that there are
  OwnedObservable<TopicSet, TopicWatch> told_;
  ScopedTask tell_;
  ScopedTask settled_;
  Lifetime lifetime_;
};

}  // namespace sonmere
