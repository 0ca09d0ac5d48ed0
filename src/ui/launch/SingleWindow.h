#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QStringList>

namespace sonmere {

// One main window per user: a second one that starts hands over what it was asked for, and ends.
class SingleWindow : public QObject {
  Q_OBJECT

 public:
  // The folder of the service's socket, which is private to the user; made where missing.
  explicit SingleWindow(const QString& folder);

  // Whether this is the one. Else the other one has been told the files, as full paths, and comes forward.
  bool claim(const QStringList& files);

 signals:
  // Another was started meanwhile.
  void asked(const QStringList& files);

 private:
  bool handOver(const QStringList& files) const;
  void listen();
  void take(class QLocalSocket* socket);

  const QString path_;
  QLockFile lock_;
  QLocalServer server_;
};

}  // namespace sonmere
