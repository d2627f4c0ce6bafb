#pragma once

#include "history/HistoryRecord.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

class HistoryIndex;

// What the library shows: the history's captures that match the search words, the kind
// and the time span picked, newest first.
struct LibraryQuery {
    enum class Span { Any, Today, Week, Month, Year };

    QString words;
    std::optional<HistoryRecord::Kind> kind;
    Span span = Span::Any;

    struct Item {
        QString name;
        QString path;
        HistoryRecord record;
        std::optional<QString> snippet; // only while searching and when the text has a word
    };

    // `now` decides what "today" and the last 7, 30 and 365 days are, in local time.
    QList<Item> run(const HistoryIndex& index, const QDateTime& now = QDateTime::currentDateTime()) const;

    // The earliest date the span admits; none for Any.
    static std::optional<QDateTime> spanStart(Span span, const QDateTime& now);
    static QString spanLabel(Span span);
};
