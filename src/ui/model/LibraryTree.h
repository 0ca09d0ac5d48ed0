#pragma once

#include <QAbstractItemModel>
#include <QDate>
#include <memory>
#include <vector>

#include "recording/library/RecordingSession.h"

namespace sonmere {

// The recordings as a tree: days, sessions of several files, files. A session of one file is that file.
class LibraryTree : public QAbstractItemModel {
  Q_OBJECT

 public:
  enum Column { name, picture, length, size, format, columns };
  enum Role {
    pathRole = Qt::UserRole,  // of a file; empty for others
    stampRole,                // of a session, or the session of a file
    bytesRole,
    secondsRole,
    marksRole,  // of a file, a list of seconds
  };

  explicit LibraryTree(QObject* parent = nullptr);
  ~LibraryTree() override;

  // Only what has `search` in its name, its session's day or time.
  void show(const std::vector<RecordingSession>& sessions, const QString& search);
  // An invalid index where it is not shown.
  QModelIndex find(const QString& path) const;
  // The files that a row stands for, its own or those below it.
  QStringList pathsOf(const QModelIndex& index) const;
  // A file's waveform has come.
  void pictureChanged(const QString& path);

  QModelIndex index(int row, int column, const QModelIndex& parent) const override;
  QModelIndex parent(const QModelIndex& index) const override;
  int rowCount(const QModelIndex& parent = {}) const override;
  int columnCount(const QModelIndex& = {}) const override { return columns; }
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
  Qt::ItemFlags flags(const QModelIndex& index) const override;
  bool setData(const QModelIndex& index, const QVariant& value, int role) override;
  QStringList mimeTypes() const override;
  QMimeData* mimeData(const QModelIndexList& indexes) const override;
  Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

 signals:
  // Typed in place; the row keeps its name until it has another.
  void renameWanted(const QString& path, const QString& name);

 private:
  struct Node;
  Node* nodeOf(const QModelIndex& index) const;
  QModelIndex indexOf(const Node* node) const;
  void addSession(const RecordingSession& session, const QString& search);
  QVariant textOf(const Node& node, int column) const;

  std::unique_ptr<Node> root_;
};

// "0:42", "1:02:30"; with `decimals` of a second.
QString clockText(double seconds, int decimals = 0);

}  // namespace sonmere
