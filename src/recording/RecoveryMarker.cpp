#include "recording/RecoveryMarker.h"

#include "app/AppPaths.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {

QString markerPath() {
    return RecoveryMarker::inProgressDir() + QStringLiteral("/recovery.json");
}

} // namespace

QString RecoveryMarker::inProgressDir() {
    const QString dir = AppPaths::dataDirectory() + QStringLiteral("/InProgress");
    QDir().mkpath(dir);
    return dir;
}

bool RecoveryMarker::write() const {
    QSaveFile file(markerPath());
    const QJsonObject object{
        {QStringLiteral("kind"), kind}, {QStringLiteral("path"), path}, {QStringLiteral("fps"), fps}};
    return file.open(QIODevice::WriteOnly) &&
           file.write(QJsonDocument(object).toJson(QJsonDocument::Compact)) > 0 && file.commit();
}

std::optional<RecoveryMarker> RecoveryMarker::read() {
    QFile file(markerPath());
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(file.read(64 * 1024)).object();
    RecoveryMarker marker{object.value(QStringLiteral("kind")).toString(),
                          object.value(QStringLiteral("path")).toString(),
                          object.value(QStringLiteral("fps")).toInt()};
    if ((marker.kind != u"movie" && marker.kind != u"gif") || marker.path.isEmpty()) return std::nullopt;
    return marker;
}

void RecoveryMarker::remove() {
    QFile::remove(markerPath());
}

void RecoveryMarker::cleanLeftovers(const QString& keep) {
    QDir dir(inProgressDir());
    for (const QFileInfo& entry : dir.entryInfoList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden)) {
        if (!keep.isEmpty() && entry.absoluteFilePath() == QFileInfo(keep).absoluteFilePath()) continue;
        if (entry.isDir())
            QDir(entry.absoluteFilePath()).removeRecursively();
        else
            QFile::remove(entry.absoluteFilePath());
    }
}
