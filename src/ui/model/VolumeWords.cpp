#include "ui/model/VolumeWords.h"

#include "control/VolumeText.h"

namespace sonmere {

std::expected<float, QString> gainFromWords(const QString& text) {
  const auto level = readVolumeLevel(QObject::tr("Volume").toStdString(), text.trimmed().toStdString());
  if (!level) return std::unexpected(QString::fromStdString(level.error().description));
  return level->gain;
}

}  // namespace sonmere
