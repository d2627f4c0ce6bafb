#pragma once

#include "common/Result.h"

#include <QImage>
#include <QString>

namespace platform {

// Renders the pages of PDF and word-processor documents (.pdf, .docx, .doc, .rtf, .odt).
class DocumentReader {
public:
    virtual ~DocumentReader() = default;
    // Whether `file` is a document this reader renders, judged by its name.
    virtual bool handles(const QString& file) const = 0;
    virtual Result<int> pageCount(const QString& file) = 0;
    // Page `page` (1 = first) at `scale` times its size in points (72 a inch), on white.
    // Errors carry the sentence for the user, e.g. "The document has 3 pages; there is no page 5."
    virtual Result<QImage> renderPage(const QString& file, int page, double scale) = 0;
};

} // namespace platform
