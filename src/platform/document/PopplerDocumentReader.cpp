#include "platform/document/PopplerDocumentReader.h"

#include "platform/document/DocumentFiles.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

#include <poppler-qt6.h>

#include <cmath>
#include <csignal>
#include <mutex>
#include <unistd.h>

// Poppler's complaints about damaged files and LibreOffice's output.
// Enable with QT_LOGGING_RULES="pictavia.documents.debug=true".
Q_LOGGING_CATEGORY(lcDocuments, "pictavia.documents", QtInfoMsg)

namespace platform::document {

namespace {

constexpr int conversionTimeoutMs = 60'000;
// Pixels on a side of a rendered page; past it a scale is a mistake, not a wish.
constexpr double largestSide = 16384;

using Document = std::unique_ptr<Poppler::Document>;

QString named(const QString& file) {
    return QFileInfo(file).fileName();
}

bool isPdf(const QString& file) {
    return QFileInfo(file).suffix().compare(QLatin1String("pdf"), Qt::CaseInsensitive) == 0;
}

Error notADocument(const QString& file) {
    return Error{isPdf(file) ? QStringLiteral("“%1” is not a PDF Pictavia can read.").arg(named(file))
                             : QStringLiteral("“%1” is not a document Pictavia can read.").arg(named(file))};
}

void logFromPoppler(const QString& message, const QVariant&) {
    qCDebug(lcDocuments).noquote() << message;
}

QString hashed(const QByteArray& bytes) {
    return QString::fromLatin1(QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().left(16));
}

// `pdf` opened; `file` is what the user asked for, named in errors.
Result<Document> load(const QString& pdf, const QString& file) {
    Document document = Poppler::Document::load(pdf);
    if (!document) return notADocument(file);
    if (document->isLocked())
        return Error{
            QStringLiteral("“%1” is protected by a password, so Pictavia cannot open it.").arg(named(file))};
    return Result<Document>(std::move(document));
}

} // namespace

PopplerDocumentReader::PopplerDocumentReader(QString cacheFolder) : m_cacheFolder(std::move(cacheFolder)) {
    if (m_cacheFolder.isEmpty()) {
        // Beside the thumbnails, whatever the process calls itself.
        QString cache = QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation);
        if (cache.isEmpty()) cache = QDir::tempPath();
        m_cacheFolder = cache + QStringLiteral("/pictavia/documents");
    }
    static std::once_flag quiet;
    std::call_once(quiet, [] { Poppler::setDebugErrorFunction(&logFromPoppler, QVariant()); });
}

PopplerDocumentReader::~PopplerDocumentReader() = default;

bool PopplerDocumentReader::handles(const QString& file) const {
    return isDocumentFile(file);
}

Result<int> PopplerDocumentReader::pageCount(const QString& file) {
    const Result<QString> pdf = pdfFor(file);
    if (!pdf) return pdf.error();
    const Result<Document> document = load(*pdf, file);
    if (!document) return document.error();
    return (*document)->numPages();
}

Result<QImage> PopplerDocumentReader::renderPage(const QString& file, int page, double scale) {
    const Result<QString> pdf = pdfFor(file);
    if (!pdf) return pdf.error();
    const Result<Document> loaded = load(*pdf, file);
    if (!loaded) return loaded.error();
    Poppler::Document& document = **loaded;

    const int count = document.numPages();
    if (page < 1 || page > count) {
        const QString pages = count == 1 ? QStringLiteral("1 page") : QStringLiteral("%1 pages").arg(count);
        return Error{QStringLiteral("The document has %1; there is no page %2.").arg(pages).arg(page)};
    }
    if (!(scale > 0) || !std::isfinite(scale))
        return Error{QStringLiteral("Pages cannot be shown at a scale of %1.").arg(scale)};
    const std::unique_ptr<Poppler::Page> sheet = document.page(page - 1);
    if (!sheet) return Error{QStringLiteral("Page %1 of “%2” is damaged.").arg(page).arg(named(file))};
    const QSizeF size = sheet->pageSizeF() * scale;
    if (size.width() > largestSide || size.height() > largestSide)
        return Error{QStringLiteral("Page %1 of “%2” is too large to show at %3×.")
                         .arg(page)
                         .arg(named(file))
                         .arg(scale)};

    document.setRenderHint(Poppler::Document::Antialiasing);
    document.setRenderHint(Poppler::Document::TextAntialiasing);
    document.setPaperColor(Qt::white);
    const QImage image = sheet->renderToImage(72.0 * scale, 72.0 * scale);
    if (image.isNull())
        return Error{QStringLiteral("Pictavia could not render page %1 of “%2”.").arg(page).arg(named(file))};
    return image.convertToFormat(QImage::Format_RGB32);
}

Result<QString> PopplerDocumentReader::pdfFor(const QString& file) {
    const QFileInfo info(file);
    if (!info.exists()) return Error{QStringLiteral("“%1” does not exist.").arg(named(file))};
    if (!info.isFile() || !handles(file)) return notADocument(file);
    if (isPdf(file)) return info.absoluteFilePath();

    // One name per source file, and a version within it, so a changed file is converted again
    // and its old conversion removed.
    const QByteArray path = QFile::encodeName(info.absoluteFilePath());
    const QString family = hashed(path);
    const QString version = hashed(path + '\n' + QByteArray::number(info.lastModified().toMSecsSinceEpoch()) +
                                   '\n' + QByteArray::number(info.size()));
    const QString cached = m_cacheFolder + u'/' + family + u'-' + version + QStringLiteral(".pdf");
    if (QFileInfo::exists(cached)) return cached;
    const std::lock_guard lock(m_converting);
    if (QFileInfo::exists(cached)) return cached; // converted by another call while this one waited
    Result<QString> converted = convert(info.absoluteFilePath(), cached);
    if (converted) {
        const QDir folder(m_cacheFolder);
        for (const QString& old : folder.entryList({family + QStringLiteral("-*.pdf")}, QDir::Files))
            if (folder.filePath(old) != cached) QFile::remove(folder.filePath(old));
    }
    return converted;
}

Result<QString> PopplerDocumentReader::convert(const QString& file, const QString& destination) {
    const QString soffice = QStandardPaths::findExecutable(QStringLiteral("soffice"));
    if (soffice.isEmpty())
        return Error{QStringLiteral(
            "Word documents need LibreOffice to be read: install the libreoffice-writer package.")};
    if (!QDir().mkpath(m_cacheFolder))
        return Error{QStringLiteral("Pictavia cannot make its document cache in %1.").arg(m_cacheFolder)};
    // A profile of our own: with the user's, a LibreOffice already open would take the job
    // and return at once, without a PDF.
    if (!m_profile) {
        m_profile =
            std::make_unique<QTemporaryDir>(QDir::tempPath() + QStringLiteral("/pictavia-office-XXXXXX"));
        if (!m_profile->isValid()) {
            m_profile.reset();
            return Error{QStringLiteral("Pictavia cannot make a temporary folder for LibreOffice.")};
        }
    }
    // Converted into a folder of its own, then renamed into place: a reader never sees half a file.
    const QTemporaryDir output(m_cacheFolder + QStringLiteral("/converting-XXXXXX"));
    if (!output.isValid())
        return Error{QStringLiteral("Pictavia cannot make its document cache in %1.").arg(m_cacheFolder)};

    QProcess office;
    office.setProgram(soffice);
    office.setArguments(
        {QStringLiteral("-env:UserInstallation=") + QUrl::fromLocalFile(m_profile->path()).toString(),
         QStringLiteral("--headless"), QStringLiteral("--norestore"), QStringLiteral("--convert-to"),
         QStringLiteral("pdf"), QStringLiteral("--outdir"), output.path(), file});
    office.setProcessChannelMode(QProcess::MergedChannels);
    office.setStandardInputFile(QProcess::nullDevice());
    // Its own process group: soffice starts helpers that a timeout must end as well.
    office.setChildProcessModifier([] { ::setpgid(0, 0); });
    office.start();
    if (!office.waitForStarted())
        return Error{QStringLiteral("LibreOffice could not start: %1").arg(office.errorString())};
    if (!office.waitForFinished(conversionTimeoutMs)) {
        // Still running, so its id is its group's; never 0, which would be our own group.
        if (const auto group = pid_t(office.processId()); group > 0) ::kill(-group, SIGKILL);
        office.waitForFinished();
        return Error{QStringLiteral("LibreOffice took more than a minute to convert “%1”.").arg(named(file))};
    }
    qCDebug(lcDocuments).noquote() << office.readAll().trimmed();

    const QStringList made = QDir(output.path()).entryList({QStringLiteral("*.pdf")}, QDir::Files);
    if (office.exitStatus() != QProcess::NormalExit || made.isEmpty())
        return Error{QStringLiteral("LibreOffice could not convert “%1” to PDF.").arg(named(file))};
    QFile::remove(destination);
    if (!QFile::rename(output.path() + u'/' + made.first(), destination))
        return Error{QStringLiteral("Pictavia cannot write to its document cache in %1.").arg(m_cacheFolder)};
    return destination;
}

} // namespace platform::document
