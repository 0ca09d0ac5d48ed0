#pragma once

#include <QObject>
#include <QPointer>

namespace sonmere {

class RecordingModel;
class ServiceLink;
class Sheet;

// How Sonmere as a whole ends from the window: at once where nothing is being recorded; else the user says
// what becomes of it, and files that are being completed are waited for.
class QuitFlow : public QObject {
  Q_OBJECT

 public:
  // Sheets show over `content`.
  QuitFlow(ServiceLink& link, RecordingModel& recording, QWidget& content);

  void begin();
  // Of the window alone. False: it has asked, and tells windowOnly if the user agrees.
  bool mayClose(const QStringList& unfinished);

 signals:
  // The service has ended, or was gone.
  void done();
  // Only the window is to go.
  void windowOnly();

 private:
  void proceed();
  void warn(const QStringList& unfinished, const QString& title, const QString& goOn, void (QuitFlow::*go)());
  void closeAnyway();
  void ask();
  void quit();
  void stateChanged();

  ServiceLink& link_;
  RecordingModel& recording_;
  QWidget& content_;
  QPointer<Sheet> sheet_;
  bool isEnding_ = false;
  bool mayClose_ = false;  // the user has said so
};

}  // namespace sonmere
