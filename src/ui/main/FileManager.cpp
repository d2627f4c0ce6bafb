#include "ui/main/FileManager.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace ui {
namespace {

const QString service = QStringLiteral("org.freedesktop.FileManager1");

bool showItems(const QStringList& files) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()) return false;
    // A file manager that provides the service is started by the bus on demand.
    const QStringList activatable = bus.interface()->activatableServiceNames();
    if (!bus.interface()->isServiceRegistered(service) && !activatable.contains(service)) return false;
    QStringList uris;
    for (const QString& file : files)
        uris << QUrl::fromLocalFile(QFileInfo(file).absoluteFilePath()).toString();
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/freedesktop/FileManager1"), service, QStringLiteral("ShowItems"));
    call << uris << QString();
    return bus.send(call);
}

} // namespace

void openFolders(const QStringList& folders) {
    for (const QString& folder : folders)
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

void revealInFileManager(const QStringList& files) {
    if (files.isEmpty() || showItems(files)) return;
    QStringList folders;
    for (const QString& file : files) {
        const QString folder = QFileInfo(file).absolutePath();
        if (!folders.contains(folder)) folders << folder;
    }
    openFolders(folders);
}

} // namespace ui
