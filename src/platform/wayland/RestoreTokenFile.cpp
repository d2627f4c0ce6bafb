#include "platform/wayland/RestoreTokenFile.h"

#include "common/Log.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace platform::wayland {

namespace {

const QString tokenKey = QStringLiteral("screenCastRestoreToken");

} // namespace

QString RestoreTokenFile::load() const {
    QFile file(m_path);
    if (!file.exists()) return {};
    // A token is a few dozen characters: anything large is not ours.
    if (!file.open(QIODevice::ReadOnly) || file.size() > 64 * 1024) {
        qCWarning(lcPictavia).noquote()
            << QStringLiteral("The saved screen recording permission in %1 cannot be read; the desktop will "
                              "ask again.")
                   .arg(m_path);
        return {};
    }
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    const QJsonValue token = document.object().value(tokenKey);
    if (error.error != QJsonParseError::NoError || !document.isObject() || !token.isString()) {
        qCWarning(lcPictavia).noquote()
            << QStringLiteral("The saved screen recording permission in %1 is damaged and was ignored; the "
                              "desktop will ask again.")
                   .arg(m_path);
        return {};
    }
    return token.toString();
}

bool RestoreTokenFile::save(const QString& token) const {
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    const QByteArray content = QJsonDocument(QJsonObject{{tokenKey, token}}).toJson(QJsonDocument::Compact);
    // The token lets this program record the screen without asking: for this user only.
    const bool written = file.open(QIODevice::WriteOnly) &&
                         file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner) &&
                         file.write(content) == content.size() && file.commit();
    if (!written) {
        qCWarning(lcPictavia).noquote()
            << QStringLiteral("The screen recording permission could not be saved in %1: %2")
                   .arg(m_path, file.errorString());
        return false;
    }
    return true;
}

void RestoreTokenFile::forget() const {
    QFile::remove(m_path);
}

} // namespace platform::wayland
