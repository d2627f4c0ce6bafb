#include "app/PrefsFileWatcher.h"

#include "app/Prefs.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>

PrefsFileWatcher::PrefsFileWatcher(QObject* parent)
    : QObject(parent), m_watcher(new QFileSystemWatcher(this)) {
    // Editors save by writing a new file and renaming it over the old one, which ends a
    // watch on the file: the folder is watched too, and the file again after each change.
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(200);
    connect(&m_quiet, &QTimer::timeout, this, &PrefsFileWatcher::settle);
    connect(m_watcher, &QFileSystemWatcher::fileChanged, &m_quiet, qOverload<>(&QTimer::start));
    connect(m_watcher, &QFileSystemWatcher::directoryChanged, &m_quiet, qOverload<>(&QTimer::start));
    watch();
}

void PrefsFileWatcher::watch() {
    const QString file = Prefs::filePath();
    const QString folder = QFileInfo(file).absolutePath();
    QDir().mkpath(folder);
    if (!m_watcher->directories().contains(folder)) m_watcher->addPath(folder);
    if (QFileInfo::exists(file) && !m_watcher->files().contains(file)) m_watcher->addPath(file);
}

void PrefsFileWatcher::settle() {
    watch();
    // Merges what is on disk with what this process has not written yet.
    Prefs::sync();
    emit changed();
}
