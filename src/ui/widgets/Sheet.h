#pragma once

#include <QFrame>
#include <QPointer>

class QHBoxLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

namespace sonmere {

// A question or a message over the content of its parent, which it covers and dims; the window goes on
// behind it. Escape dismisses it, and the focus goes back to where it was.
class Sheet : public QFrame {
  Q_OBJECT

 public:
  Sheet(const QString& title, QWidget* parent);

  // Below what was added before.
  void addText(const QString& text);
  void addWidget(QWidget* widget, int stretch = 0);
  void addLayout(class QLayout* layout);
  // In the order of the reading; the main one answers to Return. Each ends the sheet unless it `stays`.
  QPushButton* addButton(const QString& text, bool isMain, bool stays = false);
  // Shows it over the parent, with the focus in it.
  void open();
  // What it holds has another size.
  void refit() { cover(); }
  // Ends it; it deletes itself.
  void dismiss();
  // Something goes on in it that its end would cancel.
  virtual bool isBusy() const { return false; }
  const QString& title() const { return title_; }

 signals:
  void dismissed();

 protected:
  // How large it is where there is room; it is as high as it has to be at least.
  void setCardSize(QSize size) { cardSize_ = size; }

  void paintEvent(QPaintEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  bool focusNextPrevChild(bool next) override;

 private:
  void cover();
  int layButtons(int room);

  const QString title_;
  QSize cardSize_{480, 0};
  QFrame* card_;
  QVBoxLayout* content_;
  QHBoxLayout* buttons_;
  QPushButton* main_ = nullptr;
  QPointer<QWidget> before_;  // had the focus
};

}  // namespace sonmere
