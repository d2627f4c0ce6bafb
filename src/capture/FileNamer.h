#pragma once

#include "capture/CaptureContext.h"

#include <QDateTime>
#include <QString>

#include <optional>

// File names of captures, built from the "filenameTemplate" preference. Tokens: {date}
// (yyyy-MM-dd), {time} (HH.mm.ss), {app}, {window} and {counter}.
namespace FileNamer {

QString filename(const QString& ext, const QDateTime& date, const CaptureContext& context, double scale);

// Text made safe for a file name: characters that file systems or shells treat
// specially become "-", and spaces at the ends are trimmed.
QString sanitize(const QString& text);

// Asks for a name ("Name this capture"); none when the user cancels.
std::optional<QString> askForName(const QString& defaultName);

// `fileName` in `directory`, or "name (2).ext", "name (3).ext"... when it is taken
// ("name (2)@2x.ext" for HiDPI names).
QString uniquePath(const QString& directory, const QString& fileName);

} // namespace FileNamer
