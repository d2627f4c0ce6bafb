#pragma once

#include <QFileInfo>
#include <QString>
#include <QStringList>

namespace platform::document {

// Whether `file` is a document Pictavia renders (PDF, or a word-processor file LibreOffice
// converts), judged by its name alone: deciding that must not load the renderer.
inline bool isDocumentFile(const QString& file) {
    static const QStringList suffixes{QStringLiteral("pdf"), QStringLiteral("docx"), QStringLiteral("doc"),
                                      QStringLiteral("rtf"), QStringLiteral("odt")};
    return suffixes.contains(QFileInfo(file).suffix(), Qt::CaseInsensitive);
}

} // namespace platform::document
