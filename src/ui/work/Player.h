#pragma once

#include <QObject>
#include <QTimer>
#include <memory>

#include "audio/playback/PlaybackEngine.h"

namespace sonmere {

class Workbench;

// Plays one recording at a time, where it lies.
class Player : public QObject {
  Q_OBJECT

 public:
  explicit Player(Workbench& workbench) : workbench_(workbench) {
    connect(&tick_, &QTimer::timeout, this, &Player::moved);
  }

  // Empty: none.
  const QString& path() const { return path_; }
  bool isPlaying() const { return tick_.isActive(); }
  double seconds() const;
  double length() const { return length_; }  // seconds

  // From the place where it was left, for the one that is held; else from its beginning.
  void play(const QString& path);
  void pause();
  void seek(double seconds);
  // Lets go of the file.
  void stop();

 signals:
  // Another file, or it plays or stands.
  void changed();
  void moved();
  // Why it can't be played.
  void failed(const QString& text);

 private:
  bool load(const QString& path);
  void begin();
  void finish(const QString& error);

  Workbench& workbench_;
  std::unique_ptr<PlaybackEngine> engine_;
  QString path_;
  QTimer tick_;
  double rate_ = 0;
  std::int64_t frames_ = 0;
  double length_ = 0;
  double from_ = 0;  // seconds, where the playing began or stands
};

}  // namespace sonmere
