#pragma once

#include <QObject>
#include <QString>

#include <chrono>
#include <functional>

#include <sys/types.h>

class QFileSystemWatcher;
class QSocketNotifier;

namespace platform::qt {

// How long a detached clipboard server ("pictavia --serve-clipboard") lives, besides
// until another program takes the clipboard:
// - copies of Pictavia's own take turns: each newer one (by the stamp of its hand-over)
//   tells the one serving before it to end, and one that finds a newer one serving ends
//   at once, so a late starter never puts older content back;
// - it ends with the resident Pictavia, the one running when it started or one that
//   starts later;
// - it ends after maxLife at the latest: longer than a working day, so a copy made in
//   the morning still pastes in the evening, yet a forgotten one does not live on for days.
class ClipboardServerLifetime : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::hours maxLife{12};

    // `stamp`: a later hand-over has a larger one.
    explicit ClipboardServerLifetime(qint64 stamp, QObject* parent = nullptr);
    ~ClipboardServerLifetime() override;

    // Takes this copy's turn: runs `takeClipboard` and ends the copy that served before.
    // False, without running it, when a newer copy serves already.
    bool claim(const std::function<void()>& takeClipboard);

    // Calls `end` once the resident Pictavia ends or maxLife has passed.
    void watch(std::function<void()> end);

    // The folder of the instance socket: $XDG_RUNTIME_DIR/pictavia, or /tmp/pictavia-UID.
    static QString runtimeFolder();

private:
    void watchResident();

    qint64 m_stamp;
    std::function<void()> m_end;
    QFileSystemWatcher* m_folderWatcher = nullptr;
    int m_residentFD = -1; // a pidfd, readable once the resident has ended
    QSocketNotifier* m_residentNotifier = nullptr;
};

} // namespace platform::qt
