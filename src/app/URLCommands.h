#pragma once

#include <QHash>
#include <QRectF>
#include <QString>
#include <QUrl>

#include <cstdint>
#include <functional>
#include <optional>

// pictavia:// URLs from scripts and other programs: each command maps to a capture flow
// or a window of the application. Main thread only.
namespace URLCommands {

// False when the scheme is not "pictavia"; true otherwise, unknown commands included
// (those are reported to the user).
bool handle(const QUrl& url);

// Why a "pictavia" URL cannot be carried out, in the sentence its toast shows: an unknown
// command, a rectangle that does not fit its display, a file that is missing. None when
// it can (or when it is no "pictavia" URL). Displays are looked at only where the screen
// is connected.
std::optional<QString> problem(const QUrl& url);

// The command: the host, lower-cased; for "pictavia:command" forms without a host, the
// first path segment.
QString command(const QUrl& url);

using QueryItems = QHash<QString, QString>;
QueryItems queryItems(const QUrl& url);
// Absent is false, present and empty is true, else "1", "true" or "yes" in any case.
bool flag(const QueryItems& items, const QString& name);
// "x", "y", "width" and "height", all numbers, else none.
std::optional<QRectF> rect(const QueryItems& items);
// "display" as an unsigned 32-bit number, else none.
std::optional<uint32_t> displayID(const QueryItems& items);

// Windows that other parts of the application provide. Until one is set, its commands
// say that this version cannot do that yet.
struct Destinations {
    std::function<void()> openClipboard;
    std::function<void(const QString& path)> openFile;
    std::function<void()> showHistory;
    std::function<void()> showSettings;
    // Whether the editor can open a file; without it, any readable file is tried.
    std::function<bool(const QString& path)> canOpenFile;
};
void setDestinations(Destinations destinations);

} // namespace URLCommands
