#pragma once

#include <QObject>
#include <QTimer>

class QFileSystemWatcher;

// Notices when the preferences file changes on disk, by a person's editor or another
// process, reads it again, and says so once per burst of writes.
class PrefsFileWatcher : public QObject {
    Q_OBJECT
public:
    explicit PrefsFileWatcher(QObject* parent = nullptr);

signals:
    // The file was read again; values may have changed.
    void changed();

private:
    void watch();
    void settle();

    QFileSystemWatcher* m_watcher;
    QTimer m_quiet;
};
