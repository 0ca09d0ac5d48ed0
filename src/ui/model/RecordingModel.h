#pragma once

#include <QObject>
#include <QStringList>
#include <set>
#include <vector>

#include "control/RecordingState.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

// The running recordings, and what begins and ends them.
class RecordingModel : public QObject {
  Q_OBJECT

 public:
  explicit RecordingModel(ServiceLink& link);

  const std::vector<RecordingState>& running() const { return running_; }
  // All of them as one take.
  void start(const std::set<int>& buses);
  // Where files go, and what is to be told of the recordings now.
  const QString& folder() const { return folder_; }
  const QStringList& notices() const { return notices_; }
  // Which files a recording of the bridge makes, by its name in the settings, and what that would have
  // switched on now.
  const QString& layout() const { return layout_; }
  const QStringList& willSwitchOn() const { return willSwitchOn_; }
  void setLayout(const QString& layout);
  // Seconds of what was just heard that are kept in memory, and why they are not, or not all.
  double keptSeconds() const { return keptSeconds_; }
  const QString& prerollRefusal() const { return prerollRefusal_; }
  // As the last time; the bridge where there was none.
  void startAgain();
  void stopAll();

 signals:
  void changed();
  // Why an act was refused, or what became of it.
  void answered(const QString& text, bool isRefusal);
  // A file is complete.
  void finished(const QString& path);

 private:
  void take(Topic topic, const TopicJSON& value);
  void takeRunning(const TopicJSON& value);
  void takeMeters(const ControlJSON& meters);

  ServiceLink& link_;
  std::vector<RecordingState> running_;
  std::set<int> lastBuses_;
  QString folder_, layout_;
  QStringList willSwitchOn_;
  QStringList notices_;
  double keptSeconds_ = 0;
  QString prerollRefusal_;
};

}  // namespace sonmere
