#pragma once

#include <QStyledItemDelegate>

namespace sonmere {

class Thumbnails;

// Paints the small waveform of a recording; what is not read yet is a line, and is asked for.
class WaveformDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  WaveformDelegate(Thumbnails& thumbnails, QObject* parent)
      : QStyledItemDelegate(parent), thumbnails_(thumbnails) {}

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  Thumbnails& thumbnails_;
};

}  // namespace sonmere
