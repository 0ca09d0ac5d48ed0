#pragma once

#include <QString>

namespace sonmere {

// The window's texts in this language ("de"), or where it is empty in that of the user; English where there
// is no other. Also what Qt itself says, where the system has that. Once, before the first widget.
void installTranslations(const QString& language = {});

}  // namespace sonmere
