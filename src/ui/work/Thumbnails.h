#pragma once

#include <QHash>
#include <QObject>
#include <QStringList>
#include <atomic>
#include <memory>
#include <vector>

namespace sonmere {

class Workbench;

// Small waveforms of recordings: read once a file, beside the main thread, those asked for last first.
class Thumbnails : public QObject {
  Q_OBJECT

 public:
  static constexpr int kColumns = 160;

  explicit Thumbnails(Workbench& workbench) : workbench_(workbench) {}
  ~Thumbnails() override;

  // The largest magnitude of each column, 0 to 1; null while it is not there. `bytes` tells a file that has
  // grown from what it was.
  const std::vector<float>* of(const QString& path, quint64 bytes);

 signals:
  void ready(const QString& path);

 private:
  struct Entry {
    quint64 bytes = 0;
    std::vector<float> columns;
  };
  void next();

  Workbench& workbench_;
  QHash<QString, Entry> known_;
  QStringList wanted_;  // the latest last
  QString reading_;
  const std::shared_ptr<std::atomic<bool>> cancelled_ = std::make_shared<std::atomic<bool>>(false);
};

}  // namespace sonmere
