#include "app/Usage.h"

#include "app/AppPaths.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QSaveFile>

namespace Usage {

namespace {

QString filePath() {
    return AppPaths::dataDirectory() + QStringLiteral("/usage.json");
}

QJsonObject readCounts() {
    QFile file(filePath());
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("counts")).toObject();
}

} // namespace

void count(const QString& event) {
    QDir().mkpath(AppPaths::dataDirectory());
    // Several Pictavia processes (the app, command-line runs) may count at once.
    QLockFile lock(filePath() + QStringLiteral(".lock"));
    if (!lock.tryLock(500)) return;
    QJsonObject counts = readCounts();
    counts.insert(event, counts.value(event).toInteger() + 1);
    QSaveFile file(filePath());
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(QJsonObject{{QStringLiteral("counts"), counts}}).toJson());
        file.commit();
    }
}

QMap<QString, qint64> counts() {
    QMap<QString, qint64> out;
    const QJsonObject counts = readCounts();
    for (auto it = counts.begin(); it != counts.end(); ++it)
        out.insert(it.key(), it.value().toInteger());
    return out;
}

} // namespace Usage
