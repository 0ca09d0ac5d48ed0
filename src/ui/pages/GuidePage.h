#pragma once

#include <QWidget>

class QListWidget;
class QTextBrowser;

namespace sonmere {

// The guide inside the program, in the language of the window where there is one: three stories, the keys,
// and the guide to the commands.
class GuidePage : public QWidget {
  Q_OBJECT

 public:
  explicit GuidePage(QWidget* parent = nullptr);

  // "start", "call", "podcast", "stream", "keys", "commands".
  void open(const QString& topic);
  QStringList topics() const { return topics_; }

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void refresh();
  void addTopic(const QString& topic, const QString& title);

  QListWidget* list_;
  QTextBrowser* text_;
  QStringList topics_;
};

// A chapter as Markdown, in the user's language where there is one.
QString guideText(const QString& topic);

}  // namespace sonmere
