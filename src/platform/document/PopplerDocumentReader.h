#pragma once

#include "platform/DocumentReader.h"

#include <memory>
#include <mutex>

class QTemporaryDir;

namespace platform::document {

// PDF pages rendered with Poppler. Word-processor files (.docx, .doc, .rtf, .odt) are first
// converted to PDF by LibreOffice when it is installed; the PDF is kept in a cache, named by
// the source's path, time of change and size, so each version is converted once.
//
// Every call opens its document anew, so calls may run on several threads at once;
// conversions run one at a time, as they share a private LibreOffice profile.
class PopplerDocumentReader : public DocumentReader {
public:
    // `cacheFolder` keeps the converted PDFs; empty means "documents" in the user's cache.
    explicit PopplerDocumentReader(QString cacheFolder = {});
    ~PopplerDocumentReader() override;

    bool handles(const QString& file) const override;
    Result<int> pageCount(const QString& file) override;
    // The image is opaque (Format_RGB32), the page's size in points times `scale`.
    Result<QImage> renderPage(const QString& file, int page, double scale) override;

private:
    // The PDF to read for `file`: the file itself, or its converted copy.
    Result<QString> pdfFor(const QString& file);
    Result<QString> convert(const QString& file, const QString& destination);

    QString m_cacheFolder;
    std::mutex m_converting;
    std::unique_ptr<QTemporaryDir> m_profile; // LibreOffice's, made by the first conversion
};

} // namespace platform::document
