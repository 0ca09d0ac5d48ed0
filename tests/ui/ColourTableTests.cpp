#include <gtest/gtest.h>

#include "ui/theme/ColourTable.h"

namespace sonmere {
namespace {

TEST(ColourTable, TextCanBeReadOnEveryGround) {
  EXPECT_NEAR(contrast(Qt::black, Qt::white), 21, 0.01);
  EXPECT_NEAR(contrast(QColor(0x77, 0x77, 0x77), Qt::white), 4.48, 0.01);
  for (const ColourScheme scheme : {ColourScheme::dark, ColourScheme::light}) {
    for (const ColourRole ground : kGroundRoles) {
      for (const ColourRole text : kTextRoles) {
        EXPECT_GE(contrast(colour(text, scheme), colour(ground, scheme)), 4.5)
            << "text " << int(text) << " on " << int(ground) << " in scheme " << int(scheme);
      }
      EXPECT_GE(contrast(colour(ColourRole::focus, scheme), colour(ground, scheme)), 3);
    }
    EXPECT_GE(contrast(colour(ColourRole::accentText, scheme), colour(ColourRole::accent, scheme)), 4.5);
  }
}

}  // namespace
}  // namespace sonmere
