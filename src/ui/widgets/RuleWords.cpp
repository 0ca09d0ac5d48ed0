#include "ui/widgets/RuleWords.h"

#include <QCoreApplication>

#include "ui/widgets/VolumeField.h"

namespace sonmere {
namespace {

QString say(const char* text) { return QCoreApplication::translate("RuleWords", text); }

QString reasonWords(const RuleReason& reason, const RuleNames& names) {
  const QString subject = QString::fromStdString(reason.subject);
  switch (reason.kind) {
    case RuleReason::Kind::app:
      return say(QT_TRANSLATE_NOOP("RuleWords", "When %1 plays")).arg(names.appName(subject));
    case RuleReason::Kind::device:
      return say(QT_TRANSLATE_NOOP("RuleWords", "When the device %1 is there")).arg(subject);
    case RuleReason::Kind::mic:
      return say(QT_TRANSLATE_NOOP("RuleWords", "When the microphone is on"));
  }
  return {};
}

QString actWords(const RuleAct& act, const RuleNames& names) {
  const QString target = QString::fromStdString(act.target);
  switch (act.kind) {
    case RuleAct::Kind::profile:
      return say(QT_TRANSLATE_NOOP("RuleWords", "apply the profile %1")).arg(target);
    case RuleAct::Kind::route:
      return act.bus ? say(QT_TRANSLATE_NOOP("RuleWords", "route %1 to %2"))
                           .arg(names.appName(target), names.busName(*act.bus))
                     : say(QT_TRANSLATE_NOOP("RuleWords", "route %1 to the default output"))
                           .arg(names.appName(target));
    case RuleAct::Kind::volume:
      return say(QT_TRANSLATE_NOOP("RuleWords", "set the volume of %1 to %2"))
          .arg(names.appName(target), percentText(act.volume));
    case RuleAct::Kind::mute:
      return say(act.isMuted ? QT_TRANSLATE_NOOP("RuleWords", "mute %1")
                             : QT_TRANSLATE_NOOP("RuleWords", "unmute %1"))
          .arg(names.appName(target));
  }
  return {};
}

}  // namespace

QString ruleWords(const Rule& rule, const RuleNames& names) {
  return say(QT_TRANSLATE_NOOP("RuleWords", "%1: %2"))
      .arg(reasonWords(rule.when, names), actWords(rule.act, names));
}

QString stateWords(const RuleState& state) {
  if (!state.rule.isEnabled) return say(QT_TRANSLATE_NOOP("RuleWords", "off"));
  if (state.problem) return QString::fromStdString(*state.problem);
  return state.isActive ? say(QT_TRANSLATE_NOOP("RuleWords", "in force"))
                        : say(QT_TRANSLATE_NOOP("RuleWords", "waits"));
}

}  // namespace sonmere
