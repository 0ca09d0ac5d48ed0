#pragma once

#include <QDataStream>
#include <QFile>
#include <QString>
#include <cmath>

namespace sonmere {

// A WAV of one channel, 48 kHz, 16 bits: a tone, which grows from silence to `level`.
inline void writeTone(const QString& path, double seconds, double level = 0.5) {
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly)) return;
  QDataStream out(&file);
  out.setByteOrder(QDataStream::LittleEndian);
  const auto frames = static_cast<quint32>(seconds * 48000);
  out.writeRawData("RIFF", 4);
  out << quint32(36 + frames * 2);
  out.writeRawData("WAVEfmt ", 8);
  out << quint32(16) << quint16(1) << quint16(1) << quint32(48000) << quint32(96000) << quint16(2)
      << quint16(16);
  out.writeRawData("data", 4);
  out << quint32(frames * 2);
  for (quint32 i = 0; i < frames; ++i) {
    const double grown = level * i / std::max(frames, 1u);
    out << static_cast<qint16>(32767 * grown * std::sin(i * 0.0576));
  }
}

}  // namespace sonmere
