#pragma once

#include "platform/TextRecognition.h"
#include "text/SensitiveHit.h"

#include <QImage>
#include <QList>
#include <QSize>
#include <QString>
#include <QStringList>

// Finds e-mail addresses, keys, card numbers and the like in recognised text, and where
// they are in the picture. Safe on any thread; several scans may run at once.
namespace SensitiveScanner {

// Recognises the image's text (blocking) and scans it; empty when recognition fails.
QList<SensitiveHit> scan(const QImage& image);

// Scans lines recognised in an image of `imageSize` pixels. Hits whose boxes meet are
// merged into the first of them.
QList<SensitiveHit> scanLines(const QList<platform::RecognizedLine>& lines, QSize imageSize);

// Every kind a hit can have, in the order of their patterns' priority.
const QStringList& kinds();

// `text` with every finding of a kind in `hidden` replaced by as many "•" as it has
// UTF-16 units, so the result has the length of `text`.
QString redactText(const QString& text, const QStringList& hidden);

} // namespace SensitiveScanner
