#pragma once

#include "history/LibraryQuery.h"

#include <QAbstractListModel>
#include <QSet>
#include <QTimer>

class HistoryIndex;

namespace ui {

// The library's captures for a list view: the result of a LibraryQuery over the index,
// redone when the index changes, with thumbnails that arrive as they are made. Items drag
// out as files.
class LibraryModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        NameRole = Qt::UserRole + 1,
        PathRole,
        SnippetRole,  // QString, empty when not searching
        DetailRole,   // date, size and length in one line
        KeptRole,     // bool
        ThumbnailRole // QImage, null until made
    };
    static constexpr int thumbnailPixels = 360;

    explicit LibraryModel(HistoryIndex& index, QObject* parent = nullptr);

    void setQuery(const LibraryQuery& query);
    const LibraryQuery& query() const { return m_query; }
    // Captures in the index at all, whatever the query.
    int total() const;

    const LibraryQuery::Item& item(int row) const { return m_items.at(row); }
    int rowOf(const QString& name) const;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::CopyAction; }

    // "21 Nov 2026 at 14:03 · 1280 × 800" with the length of movies and GIFs.
    static QString detailOf(const HistoryRecord& record);

signals:
    // After every change of the items, so views can say how many there are.
    void itemsChanged();

private:
    void reload();
    void requestThumbnail(const QString& path) const;

    HistoryIndex& m_index;
    LibraryQuery m_query;
    QList<LibraryQuery::Item> m_items;
    QTimer m_reloadTimer;
    mutable QSet<QString> m_requested;
    mutable QSet<QString> m_unreadable; // learnt while painting, hence mutable
};

} // namespace ui
