#include "ui/main/LibraryModel.h"

#include "history/HistoryIndex.h"
#include "history/ThumbnailStore.h"

#include <QLocale>
#include <QMimeData>
#include <QUrl>

namespace ui {

LibraryModel::LibraryModel(HistoryIndex& index, QObject* parent)
    : QAbstractListModel(parent), m_index(index) {
    // Scans change records one after another; one reload for a burst of them.
    m_reloadTimer.setSingleShot(true);
    m_reloadTimer.setInterval(150);
    connect(&m_reloadTimer, &QTimer::timeout, this, &LibraryModel::reload);
    connect(&m_index, &HistoryIndex::recordsChanged, &m_reloadTimer, qOverload<>(&QTimer::start));
    reload();
}

void LibraryModel::setQuery(const LibraryQuery& query) {
    m_query = query;
    reload();
}

int LibraryModel::total() const {
    return static_cast<int>(m_index.records().size());
}

void LibraryModel::reload() {
    m_reloadTimer.stop();
    beginResetModel();
    m_items = m_query.run(m_index);
    endResetModel();
    emit itemsChanged();
}

int LibraryModel::rowOf(const QString& name) const {
    for (int row = 0; row < m_items.size(); ++row)
        if (m_items[row].name == name) return row;
    return -1;
}

int LibraryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(m_items.size());
}

QString LibraryModel::detailOf(const HistoryRecord& record) {
    const QLocale locale;
    const QDateTime date = record.date.toLocalTime();
    QString detail = QStringLiteral("%1 at %2")
                         .arg(locale.toString(date.date(), QStringLiteral("d MMM yyyy")),
                              locale.toString(date.time(), QStringLiteral("HH:mm")));
    if (record.width > 0 && record.height > 0)
        detail += QStringLiteral(" · %1 × %2").arg(record.width).arg(record.height);
    if (const auto length = record.durationLabel()) detail += QStringLiteral(" · ") + *length;
    return detail;
}

QVariant LibraryModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= m_items.size()) return {};
    const LibraryQuery::Item& item = m_items.at(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case NameRole:
        return item.name;
    case Qt::ToolTipRole:
        return item.name + u'\n' + detailOf(item.record);
    case PathRole:
        return item.path;
    case SnippetRole:
        return item.snippet.value_or(QString());
    case DetailRole:
        return detailOf(item.record);
    case KeptRole:
        return item.record.keep;
    case ThumbnailRole: {
        if (m_unreadable.contains(item.path)) return QImage();
        QFuture<QImage> thumbnail = ThumbnailStore::shared().thumbnail(item.path, thumbnailPixels);
        if (thumbnail.isFinished()) {
            // A small broken file can fail before this looks: remember it, as a late answer does.
            const QImage image = thumbnail.result();
            if (image.isNull()) m_unreadable.insert(item.path);
            return image;
        }
        requestThumbnail(item.path);
        return QImage();
    }
    default:
        return {};
    }
}

void LibraryModel::requestThumbnail(const QString& path) const {
    if (m_requested.contains(path)) return;
    m_requested.insert(path);
    auto* self = const_cast<LibraryModel*>(this);
    ThumbnailStore::shared().thumbnail(path, thumbnailPixels).then(self, [self, path](const QImage& image) {
        self->m_requested.remove(path);
        // Movies and broken files have no picture; asking again would loop.
        if (image.isNull()) self->m_unreadable.insert(path);
        for (int row = 0; row < self->m_items.size(); ++row)
            if (self->m_items[row].path == path) {
                const QModelIndex changed = self->index(row);
                emit self->dataChanged(changed, changed, {ThumbnailRole});
            }
    });
}

Qt::ItemFlags LibraryModel::flags(const QModelIndex& index) const {
    return QAbstractListModel::flags(index) | (index.isValid() ? Qt::ItemIsDragEnabled : Qt::NoItemFlags);
}

QStringList LibraryModel::mimeTypes() const {
    return {QStringLiteral("text/uri-list")};
}

QMimeData* LibraryModel::mimeData(const QModelIndexList& indexes) const {
    QList<QUrl> urls;
    for (const QModelIndex& index : indexes)
        if (index.isValid() && index.row() < m_items.size())
            urls << QUrl::fromLocalFile(m_items.at(index.row()).path);
    auto* data = new QMimeData;
    data->setUrls(urls);
    return data;
}

} // namespace ui
