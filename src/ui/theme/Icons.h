#pragma once

#include <QIcon>

#include "ui/theme/ColourTable.h"

namespace sonmere {

// An icon drawn in the colour of a role, at any scale. `name` is that of a file in icons/, without ".svg".
QIcon themedIcon(const QString& name, ColourRole role = ColourRole::text);

}  // namespace sonmere
