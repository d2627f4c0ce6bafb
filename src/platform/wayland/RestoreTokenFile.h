#pragma once

#include <QString>

namespace platform::wayland {

// The token with which the screen recording portal restores the user's earlier answer, kept
// in a small JSON file so that the desktop asks once, not at every recording.
class RestoreTokenFile {
public:
    explicit RestoreTokenFile(QString path) : m_path(std::move(path)) {}

    // The saved token; empty when there is none, or when the file cannot be read (then a
    // sentence is logged and the desktop simply asks again).
    QString load() const;
    // Replaces the file as a whole, so that a crash never leaves half a token; false (and a
    // logged sentence) when it cannot be written.
    bool save(const QString& token) const;
    // Forgets the token, so that the next recording asks afresh.
    void forget() const;

    const QString& path() const { return m_path; }

private:
    QString m_path;
};

} // namespace platform::wayland
