#include "ui/theme/Theme.h"

#include <QApplication>

#include "ui/theme/ThemeStyle.h"

namespace sonmere {
namespace {

QString styleSheet(const Theme& theme) {
  const auto name = [&theme](ColourRole role) { return theme(role).name(); };
  return QStringLiteral(R"(
    QToolButton, QPushButton { background: %1; border: 1px solid %2; border-radius: 4px; padding: 4px 8px; }
    QToolButton[autoRaise="true"] { background: transparent; border-color: transparent; }
    QToolButton:hover, QPushButton:hover { border-color: %3; }
    QToolButton:checked, QPushButton:checked { background: %3; color: %4; }
    QToolButton:focus, QPushButton:focus, QLineEdit:focus, QDoubleSpinBox:focus, QComboBox:focus {
      border: 2px solid %5; }
    QToolButton:disabled, QPushButton:disabled { color: %6; }
    QToolButton:checked:disabled { background: %2; }
    QToolButton::menu-indicator { image: none; }
    QLineEdit { background: %7; border: 1px solid %2; border-radius: 4px; padding: 3px 6px; }
    QTreeView { background: %9; border: none; }
    QTreeView::item { padding: 3px 0; }
    QHeaderView::section { background: %9; color: %6; border: none; padding: 4px 6px; }
    QListWidget { background: transparent; border: none; }
    QListWidget::item { padding: 6px; border-radius: 4px; }
    QListWidget::item:selected { background: %3; color: %4; }
    QProgressBar { background: %7; border: 1px solid %2; border-radius: 4px; }
    QProgressBar::chunk { background: %3; border-radius: 3px; }
    QToolTip { background: %1; color: %8; border: 1px solid %2; }
  )")
      .arg(name(ColourRole::raised), name(ColourRole::line), name(ColourRole::accent),
           name(ColourRole::accentText), name(ColourRole::focus), name(ColourRole::dimText),
           name(ColourRole::field), name(ColourRole::text), name(ColourRole::window));
}

}  // namespace

Theme& Theme::instance() {
  static Theme theme;
  return theme;
}

void Theme::setScheme(ColourScheme scheme) {
  scheme_ = scheme;
  qApp->setStyle(new ThemeStyle);
  qApp->setPalette(palette());
  qApp->setStyleSheet(styleSheet(*this));
}

QPalette Theme::palette() const {
  const Theme& theme = *this;
  QPalette palette;
  palette.setColor(QPalette::Window, theme(ColourRole::window));
  palette.setColor(QPalette::WindowText, theme(ColourRole::text));
  palette.setColor(QPalette::Base, theme(ColourRole::field));
  palette.setColor(QPalette::AlternateBase, theme(ColourRole::panel));
  palette.setColor(QPalette::Text, theme(ColourRole::text));
  palette.setColor(QPalette::PlaceholderText, theme(ColourRole::dimText));
  palette.setColor(QPalette::Button, theme(ColourRole::raised));
  palette.setColor(QPalette::ButtonText, theme(ColourRole::text));
  palette.setColor(QPalette::ToolTipBase, theme(ColourRole::raised));
  palette.setColor(QPalette::ToolTipText, theme(ColourRole::text));
  palette.setColor(QPalette::Highlight, theme(ColourRole::accent));
  palette.setColor(QPalette::HighlightedText, theme(ColourRole::accentText));
  palette.setColor(QPalette::Link, theme(ColourRole::accent));
  for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(QPalette::Disabled, role, theme(ColourRole::dimText));
  }
  return palette;
}

}  // namespace sonmere
