#include "ui/widgets/WaveformDelegate.h"

#include <QPainter>

#include "ui/model/LibraryTree.h"
#include "ui/theme/Theme.h"
#include "ui/work/Thumbnails.h"

namespace sonmere {

void WaveformDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                             const QModelIndex& index) const {
  QStyledItemDelegate::paint(painter, option, index);
  const QString path = index.data(LibraryTree::pathRole).toString();
  if (path.isEmpty()) return;
  const QRect area = option.rect.adjusted(4, 3, -4, -3);
  const auto* columns = thumbnails_.of(path, index.data(LibraryTree::bytesRole).toULongLong());
  const bool isSelected = option.state & QStyle::State_Selected;
  painter->save();
  painter->setPen(themed(isSelected ? ColourRole::accentText : ColourRole::accent));
  const int middle = area.center().y();
  for (int x = 0; x < area.width(); ++x) {
    const auto at = static_cast<std::size_t>(x * Thumbnails::kColumns / std::max(1, area.width()));
    const int half = columns ? static_cast<int>((*columns)[at] * static_cast<float>(area.height()) / 2) : 0;
    painter->drawLine(area.left() + x, middle - half, area.left() + x, middle + half);
  }
  const double seconds = index.data(LibraryTree::secondsRole).toDouble();
  painter->setPen(themed(isSelected ? ColourRole::accentText : ColourRole::warningText));
  for (const QVariant& mark : index.data(LibraryTree::marksRole).toList()) {
    if (seconds <= 0) break;
    const int x = area.left() + static_cast<int>(mark.toDouble() / seconds * area.width());
    painter->drawLine(x, area.top(), x, area.bottom());
  }
  painter->restore();
}

QSize WaveformDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
  return {Thumbnails::kColumns, 4 * kGrid};
}

}  // namespace sonmere
