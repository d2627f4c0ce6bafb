#pragma once

#include <QString>

#include <optional>

// What a running recording writes, so that a crash leaves a note of it: "recovery.json" in
// the in-progress folder, with what is recorded ("movie" or "gif"), the file or frame folder
// being written, and the frame rate a GIF is assembled at.
struct RecoveryMarker {
    QString kind; // "movie" or "gif"
    QString path;
    int fps = 0;

    // $XDG_DATA_HOME/Pictavia/InProgress, made when missing.
    static QString inProgressDir();

    bool write() const;
    // None when there is no marker, or it cannot be read.
    static std::optional<RecoveryMarker> read();
    static void remove();
    // Deletes everything in the in-progress folder but `keep`.
    static void cleanLeftovers(const QString& keep = {});
};
