#pragma once

#include <QWidget>
#include <map>
#include <vector>

#include "jobs/JobState.h"

class QVBoxLayout;

namespace sonmere {

// The work that is under way, each with its progress and a button that ends it; nothing where there is none.
class JobStrip : public QWidget {
  Q_OBJECT

 public:
  explicit JobStrip(QWidget* parent = nullptr);

  void show(const std::vector<JobState>& jobs);

 signals:
  void cancelled(sonmere::JobID job);

 private:
  struct Row {
    QWidget* whole;
    class QLabel* title;
    class QProgressBar* bar;
  };
  Row makeRow(JobID job);

  QVBoxLayout* rows_;
  std::map<JobID, Row> shown_;
};

}  // namespace sonmere
