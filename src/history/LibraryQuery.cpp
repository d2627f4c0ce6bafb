#include "history/LibraryQuery.h"

#include "history/HistoryIndex.h"

#include <QDir>

#include <algorithm>

std::optional<QDateTime> LibraryQuery::spanStart(Span span, const QDateTime& now) {
    const QDateTime midnight = now.toLocalTime().date().startOfDay();
    switch (span) {
    case Span::Any:
        return std::nullopt;
    case Span::Today:
        return midnight;
    case Span::Week:
        return midnight.addDays(-6);
    case Span::Month:
        return midnight.addDays(-29);
    case Span::Year:
        return midnight.addDays(-364);
    }
    return std::nullopt;
}

QString LibraryQuery::spanLabel(Span span) {
    switch (span) {
    case Span::Any:
        return QStringLiteral("Any time");
    case Span::Today:
        return QStringLiteral("Today");
    case Span::Week:
        return QStringLiteral("Last 7 days");
    case Span::Month:
        return QStringLiteral("Last 30 days");
    case Span::Year:
        return QStringLiteral("Last 12 months");
    }
    return {};
}

QList<LibraryQuery::Item> LibraryQuery::run(const HistoryIndex& index, const QDateTime& now) const {
    const std::optional<QDateTime> from = spanStart(span, now);
    const bool searching = !HistoryIndex::queryWords(words).isEmpty();
    const QStringList names = searching ? index.search(words) : index.records().keys();
    const QDir folder(index.historyDirectory());

    QList<Item> items;
    items.reserve(names.size());
    for (const QString& name : names) {
        const auto found = index.records().constFind(name);
        if (found == index.records().cend()) continue;
        const HistoryRecord& record = *found;
        if (kind && record.kind != *kind) continue;
        if (from && record.date < *from) continue;
        items.append({name, folder.filePath(name), record, std::nullopt});
    }
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) {
        if (a.record.date != b.record.date) return a.record.date > b.record.date;
        return a.name > b.name;
    });
    // Snippets cost a text scan each; only the shown results get one.
    if (searching)
        for (Item& item : items)
            item.snippet = index.snippet(item.name, words);
    return items;
}
