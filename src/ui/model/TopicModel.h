#pragma once

#include <QObject>

#include "ui/model/ServiceLink.h"

namespace sonmere {

// What a page shows of the service, and what can be asked for. Every act ends in `answered`; a refusal brings
// `changed` too, so that the controls go back to what is.
class TopicModel : public QObject {
  Q_OBJECT

 signals:
  void changed();
  // Why an act was refused, or what is to be told of it; an empty text when all went well.
  void answered(const QString& text, bool isRefusal);

 protected:
  explicit TopicModel(ServiceLink& link) : link_(link) {}

  void call(const std::string& method, const ControlJSON& params = ControlJSON::object());
  // For what a drag sets many times; `key` says of what.
  void callLatest(const std::string& key, const std::string& method, const ControlJSON& params);

 private:
  ServiceLink::Answer answer();

  ServiceLink& link_;
};

}  // namespace sonmere
