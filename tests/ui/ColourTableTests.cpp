#include <gtest/gtest.h>

#include <QCheckBox>
#include <algorithm>

#include "ui/theme/Theme.h"

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

TEST(ColourTable, ATickBoxStandsOutFromItsGroundAndSoDoesItsTick) {
  for (const ColourScheme scheme : {ColourScheme::dark, ColourScheme::light}) {
    Theme::instance().setScheme(scheme);
    QCheckBox box;
    const auto strongest = [&](const QColor& ground) {
      const QImage image = box.grab().toImage();
      double most = 1;
      for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
          most = std::max(most, contrast(image.pixelColor(x, y), ground));
      return most;
    };
    EXPECT_GE(strongest(themed(ColourRole::window)), 3);
    box.setChecked(true);
    EXPECT_GE(strongest(themed(ColourRole::accent)), 3);
  }
  Theme::instance().setScheme(ColourScheme::dark);
}

}  // namespace
}  // namespace sonmere
