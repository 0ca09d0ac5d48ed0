#pragma once

#include <QFrame>
#include <vector>

class QButtonGroup;
class QToolButton;

namespace sonmere {

// The pages by name; as icons alone where the window is narrow.
class SideBar : public QFrame {
  Q_OBJECT

 public:
  explicit SideBar(QWidget* parent = nullptr);

  void addPage(const QString& icon, const QString& name);
  // Below the pages, with a menu of what concerns the whole program.
  void setMenu(class QMenu* menu);
  void setFolded(bool folded);
  void select(int page);

 signals:
  void chosen(int page);

 private:
  QButtonGroup* group_;
  std::vector<QToolButton*> buttons_;
  QToolButton* menu_ = nullptr;
};

}  // namespace sonmere
