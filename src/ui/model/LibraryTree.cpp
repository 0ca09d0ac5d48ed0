#include "ui/model/LibraryTree.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QMimeData>
#include <QUrl>
#include <algorithm>
#include <cmath>
#include <functional>

#include "base/PrintableText.h"

namespace sonmere {
namespace {

QString pathOf(const std::string& bytes) { return QFile::decodeName(QByteArray::fromStdString(bytes)); }

QDateTime timeOf(const RecordingSession& session) {
  return QDateTime::fromString(QString::fromStdString(session.timestampString),
                               QStringLiteral("yyyy-MM-dd HH-mm-ss"));
}

QString dayText(const QDate& day) {
  if (!day.isValid()) return LibraryTree::tr("Without a date");
  const qint64 age = day.daysTo(QDate::currentDate());
  if (age == 0) return LibraryTree::tr("Today");
  if (age == 1) return LibraryTree::tr("Yesterday");
  return QLocale().toString(day, QLocale::LongFormat);
}

}  // namespace

QString clockText(double seconds, int decimals) {
  const double scale = std::pow(10, decimals);
  const auto units = static_cast<qint64>(std::floor(std::max(seconds, 0.0) * scale + 1e-6));
  const auto whole = units / static_cast<qint64>(scale);
  QString text = whole >= 3600
                     ? QStringLiteral("%1:%2:%3")
                           .arg(whole / 3600)
                           .arg(whole / 60 % 60, 2, 10, QLatin1Char('0'))
                           .arg(whole % 60, 2, 10, QLatin1Char('0'))
                     : QStringLiteral("%1:%2").arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
  if (decimals > 0) {
    text += QLocale().decimalPoint() +
            QStringLiteral("%1").arg(units % static_cast<qint64>(scale), decimals, 10, QLatin1Char('0'));
  }
  return text;
}

struct LibraryTree::Node {
  enum class Kind { root, day, session, file };
  Kind kind = Kind::root;
  Node* parent = nullptr;
  QString name;  // as it is shown
  QDate day;
  QString stamp;
  QString path;
  quint64 bytes = 0;
  double seconds = 0;
  QVariantList marks;  // seconds
  QString marksText;   // a line each
  QString format;
  std::vector<std::unique_ptr<Node>> children;

  Node* add(Kind childKind, const QString& childName) {
    children.push_back(std::make_unique<Node>());
    Node* child = children.back().get();
    child->kind = childKind;
    child->parent = this;
    child->name = childName;
    return child;
  }
};

LibraryTree::LibraryTree(QObject* parent) : QAbstractItemModel(parent), root_(std::make_unique<Node>()) {}
LibraryTree::~LibraryTree() = default;

void LibraryTree::show(const std::vector<RecordingSession>& sessions, const QString& search) {
  beginResetModel();
  root_ = std::make_unique<Node>();
  for (const RecordingSession& session : sessions) addSession(session, search);
  endResetModel();
}

void LibraryTree::addSession(const RecordingSession& session, const QString& search) {
  const QDateTime time = timeOf(session);
  const QString day = dayText(time.date());
  const QString hour = QLocale().toString(time.time(), QLocale::ShortFormat);
  const QString stamp = QString::fromStdString(session.timestampString);
  std::vector<const RecordingFile*> files;
  for (const RecordingFile& file : session.files) {
    const QString words =
        QString::fromStdString(file.displayName) + QLatin1Char(' ') + stamp + QLatin1Char(' ') + day;
    const bool isMarked = std::ranges::any_of(file.marks, [&](const RecordingFile::Mark& mark) {
      return QString::fromStdString(mark.text).contains(search, Qt::CaseInsensitive);
    });
    if (isMarked || words.contains(search, Qt::CaseInsensitive)) files.push_back(&file);
  }
  if (files.empty()) return;
  Node* above = root_->children.empty() ? nullptr : root_->children.back().get();
  if (!above || above->day != time.date()) {
    above = root_->add(Node::Kind::day, day);
    above->day = time.date();
  }
  const bool isOne = session.files.size() == 1;
  if (!isOne) {
    above = above->add(Node::Kind::session,
                       tr("%1, %n file(s)", nullptr, static_cast<int>(session.files.size())).arg(hour));
    above->stamp = stamp;
  }
  for (const RecordingFile* file : files) {
    Node* node = above->add(Node::Kind::file, QString::fromStdString(file->displayName));
    node->stamp = stamp;
    node->path = pathOf(file->url);
    node->bytes = file->fileSize;
    node->seconds = file->durationSeconds;
    for (const RecordingFile::Mark& mark : file->marks) {
      node->marks << mark.seconds;
      node->marksText += QLatin1Char('\n') + clockText(mark.seconds, 1) + QStringLiteral("  ") +
                         QString::fromStdString(printable(mark.text));
    }
    node->format = file->format == RecordingFormat::wav ? QStringLiteral("WAV") : QStringLiteral("M4A");
    if (isOne) continue;
    above->bytes += node->bytes;
    above->seconds = std::max(above->seconds, node->seconds);
  }
}

LibraryTree::Node* LibraryTree::nodeOf(const QModelIndex& index) const {
  return index.isValid() ? static_cast<Node*>(index.internalPointer()) : root_.get();
}

QModelIndex LibraryTree::indexOf(const Node* node) const {
  if (!node || !node->parent) return {};
  const auto& siblings = node->parent->children;
  const auto at = std::ranges::find(siblings, node, &std::unique_ptr<Node>::get);
  return createIndex(static_cast<int>(at - siblings.begin()), 0, node);
}

QModelIndex LibraryTree::index(int row, int column, const QModelIndex& parent) const {
  const Node* node = nodeOf(parent);
  if (row < 0 || row >= static_cast<int>(node->children.size()) || column < 0 || column >= columns) return {};
  return createIndex(row, column, node->children[static_cast<std::size_t>(row)].get());
}

QModelIndex LibraryTree::parent(const QModelIndex& index) const {
  return index.isValid() ? indexOf(nodeOf(index)->parent) : QModelIndex();
}

int LibraryTree::rowCount(const QModelIndex& parent) const {
  return parent.column() > 0 ? 0 : static_cast<int>(nodeOf(parent)->children.size());
}

QVariant LibraryTree::textOf(const Node& node, int column) const {
  if (column == name) return node.name;
  if (node.kind == Node::Kind::day) return {};
  if (column == length) return node.seconds > 0 ? clockText(node.seconds) : QString();
  if (column == size) return QLocale().formattedDataSize(static_cast<qint64>(node.bytes), 1);
  return column == format ? node.format : QVariant();
}

QVariant LibraryTree::data(const QModelIndex& index, int role) const {
  const Node& node = *nodeOf(index);
  switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
      return textOf(node, index.column());
    case Qt::TextAlignmentRole:
      return static_cast<int>(index.column() == length || index.column() == size
                                  ? Qt::AlignRight | Qt::AlignVCenter
                                  : Qt::AlignLeft | Qt::AlignVCenter);
    case Qt::ToolTipRole:
      return node.path.isEmpty() ? QString() : node.path + node.marksText;
    case Qt::AccessibleTextRole:
      if (index.column() != picture) return textOf(node, index.column());
      return node.marks.isEmpty() ? tr("Waveform")
                                  : tr("Waveform, %n mark(s)", nullptr, static_cast<int>(node.marks.size()));
    case marksRole:
      return node.marks;
    case pathRole:
      return node.path;
    case stampRole:
      return node.stamp;
    case bytesRole:
      return node.bytes;
    case secondsRole:
      return node.seconds;
    default:
      return {};
  }
}

QVariant LibraryTree::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
  const QString titles[] = {tr("Recording"), tr("Waveform"), tr("Length"), tr("Size"), tr("Format")};
  return section < columns ? titles[section] : QVariant();
}

Qt::ItemFlags LibraryTree::flags(const QModelIndex& index) const {
  const Node& node = *nodeOf(index);
  if (node.kind == Node::Kind::day) return Qt::ItemIsEnabled;
  Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled;
  if (node.kind == Node::Kind::file && index.column() == name) flags |= Qt::ItemIsEditable;
  return flags;
}

bool LibraryTree::setData(const QModelIndex& index, const QVariant& value, int role) {
  const Node& node = *nodeOf(index);
  const QString wanted = value.toString().trimmed();
  if (role != Qt::EditRole || node.path.isEmpty() || wanted == node.name) return false;
  emit renameWanted(node.path, wanted);
  return false;
}

QStringList LibraryTree::pathsOf(const QModelIndex& index) const {
  const Node& node = *nodeOf(index);
  if (node.kind == Node::Kind::file) return {node.path};
  QStringList paths;
  for (const auto& child : node.children) paths << pathsOf(indexOf(child.get()));
  return paths;
}

QModelIndex LibraryTree::find(const QString& path) const {
  const std::function<QModelIndex(const Node&)> search = [&](const Node& node) -> QModelIndex {
    if (node.kind == Node::Kind::file && node.path == path) return indexOf(&node);
    for (const auto& child : node.children) {
      if (const QModelIndex found = search(*child); found.isValid()) return found;
    }
    return {};
  };
  return search(*root_);
}

void LibraryTree::pictureChanged(const QString& path) {
  const QModelIndex at = find(path);
  if (at.isValid()) emit dataChanged(at.siblingAtColumn(picture), at.siblingAtColumn(picture));
}

QStringList LibraryTree::mimeTypes() const { return {QStringLiteral("text/uri-list")}; }

QMimeData* LibraryTree::mimeData(const QModelIndexList& indexes) const {
  QList<QUrl> urls;
  for (const QModelIndex& index : indexes) {
    if (index.column() != name) continue;
    for (const QString& path : pathsOf(index)) {
      if (const QUrl url = QUrl::fromLocalFile(path); !urls.contains(url)) urls << url;
    }
  }
  auto* data = new QMimeData;
  data->setUrls(urls);
  return data;
}

}  // namespace sonmere
