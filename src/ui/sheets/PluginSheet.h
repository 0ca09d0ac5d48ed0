#pragma once

#include <vector>

#include "ui/model/PluginView.h"
#include "ui/widgets/Sheet.h"

class QCheckBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QVBoxLayout;

namespace sonmere {

class NoteLabel;
class PluginRow;
class PluginsModel;

// The chain of plug-ins of an app, a bus or the microphone: what is in it, in its order, and what can be put
// into it.
class PluginSheet : public Sheet {
  Q_OBJECT

 public:
  // `name` is what the scope is called.
  PluginSheet(PluginsModel& model, QString scope, const QString& name, QWidget* parent);

 private:
  QWidget* buildChain();
  QWidget* buildFinder();
  void refresh();
  PluginRow* takeRow(std::vector<PluginRow*>& from, const QString& uri);
  void connectRow(PluginRow* row);
  int placeOf(const PluginRow* row) const;
  void showOffers();
  void addChosen();
  void say(const QString& text);
  QString stateText(const PluginChainView& chain) const;

  PluginsModel& model_;
  const QString scope_;
  QLabel* state_;
  NoteLabel* note_;
  QLabel* empty_;
  QCheckBox* trusted_;
  QVBoxLayout* list_;
  std::vector<PluginRow*> rows_;  // by place
  std::vector<PluginOfferView> offers_;
  QLineEdit* search_;
  QListWidget* found_;
  QPushButton* add_;
};

}  // namespace sonmere
