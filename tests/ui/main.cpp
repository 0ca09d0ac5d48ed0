#include <gtest/gtest.h>

#include <QApplication>

#include "ui/theme/Theme.h"

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  testing::InitGoogleTest(&argc, argv);
  QApplication application(argc, argv);
  sonmere::Theme::instance().setScheme(sonmere::ColourScheme::dark);
  return RUN_ALL_TESTS();
}
