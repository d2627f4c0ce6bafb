#pragma once

#include <QJsonObject>
#include <QString>
#include <QUuid>

// One caption: its text and when it shows, in seconds from the movie's start.
struct CaptionLine {
    QUuid id = QUuid::createUuid();
    double start = 0;
    double end = 0;
    QString text;

    QJsonObject toJson() const {
        return {{QStringLiteral("id"), id.toString(QUuid::WithoutBraces)},
                {QStringLiteral("start"), start},
                {QStringLiteral("end"), end},
                {QStringLiteral("text"), text}};
    }
    static CaptionLine fromJson(const QJsonObject& o) {
        CaptionLine line;
        if (const QUuid id(o.value(QStringLiteral("id")).toString()); !id.isNull()) line.id = id;
        line.start = o.value(QStringLiteral("start")).toDouble();
        line.end = o.value(QStringLiteral("end")).toDouble();
        line.text = o.value(QStringLiteral("text")).toString();
        return line;
    }
    bool operator==(const CaptionLine&) const = default;
};
