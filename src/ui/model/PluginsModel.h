#pragma once

#include <QObject>
#include <map>

#include "ui/model/PluginView.h"
#include "ui/model/ServiceLink.h"

namespace sonmere {

// The chains of plug-ins, by their scopes ("mic", "app:ID", "bus:N"), and the plug-ins of the system. A
// plug-in of a chain is named by its place, from 1 on.
class PluginsModel : public QObject {
  Q_OBJECT

 public:
  explicit PluginsModel(ServiceLink& link);

  // An empty one for a scope without plug-ins.
  PluginChainView chain(const QString& scope) const;

  // Ends in offersCame, or in answered with the reason.
  void askForOffers();
  // Ends in infoCame, once for each question; what is known already comes at once.
  void askForInfo(const QString& uri);

  void add(const QString& scope, const QString& uri);
  void remove(const QString& scope, int place);
  void move(const QString& scope, int from, int to);
  void setBypassed(const QString& scope, int place, bool bypassed);
  void setControl(const QString& scope, int place, const QString& symbol, double value);
  void setPreset(const QString& scope, int place, const QString& preset);
  void setTrusted(const QString& scope, bool trusted);

 signals:
  void changed();
  void offersCame(const std::vector<sonmere::PluginOfferView>& offers);
  void infoCame(const QString& uri, const sonmere::PluginInfoView& info);
  // Why an act on the scope was refused; empty when it was done.
  void answered(const QString& scope, const QString& refusal);
  // What befell a chain by itself; empty when it is past.
  void troubled(const QString& text);

 private:
  void take(Topic topic, const TopicJSON& value);
  ControlJSON on(const QString& scope, int place) const;
  void call(const QString& scope, const std::string& method, const ControlJSON& params);
  ServiceLink::Answer answer(const QString& scope);

  ServiceLink& link_;
  std::map<QString, PluginChainView> chains_;
  std::map<QString, PluginInfoView> infos_;
  QString trouble_;
};

}  // namespace sonmere
