#pragma once

#include <QString>
#include <expected>

namespace sonmere {

// A volume as people type it: "50 %", "-6 dB", "0.5"; the linear gain, or why it is none.
std::expected<float, QString> gainFromWords(const QString& text);

}  // namespace sonmere
