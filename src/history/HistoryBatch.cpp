#include "history/HistoryBatch.h"

#include "app/Prefs.h"
#include "app/Toast.h"
#include "capture/FileNamer.h"
#include "capture/ImageUtils.h"
#include "capture/SaveFolder.h"
#include "editor/Beautifier.h"
#include "editor/PresetStore.h"
#include "platform/Platform.h"

#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTemporaryDir>
#include <QUrl>

namespace HistoryBatch {

namespace {

const QString zipFolderName = QStringLiteral("Pictavia captures");

Panels& panels() {
    static Panels p;
    return p;
}

// Every operation starts here; false (after the toast) when there is nothing to act on.
bool hasSelection(const QStringList& files) {
    if (!files.isEmpty()) return true;
    Toast::show(QStringLiteral("Select some screenshots first"));
    return false;
}

// Window captures and cut-outs carry their own transparent edges and shadows.
bool hasTransparency(const QImage& image) {
    if (!image.hasAlphaChannel()) return false;
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(argb.constScanLine(y));
        for (int x = 0; x < argb.width(); ++x)
            if (qAlpha(line[x]) < 255) return true;
    }
    return false;
}

// HiDPI captures are named "...@2x": their padding and radius double.
double scaleOf(const QString& path) {
    return QFileInfo(path).completeBaseName().endsWith(QStringLiteral("@2x")) ? 2.0 : 1.0;
}

} // namespace

int writePDF(const QStringList& files, const QString& destination) {
    QPdfWriter writer(destination);
    // One point per pixel: each page is the image's own size.
    writer.setResolution(72);
    writer.setCreator(QStringLiteral("Pictavia"));
    QPainter painter;
    int pages = 0;
    for (const QString& path : files) {
        const QImage image = ImageUtils::readFile(path);
        if (image.isNull()) continue;
        // Exact, or Qt would round a near-standard size to A4 or Letter.
        writer.setPageSize(
            QPageSize(QSizeF(image.size()), QPageSize::Point, QString(), QPageSize::ExactMatch));
        writer.setPageMargins(QMarginsF());
        if (pages == 0) {
            if (!painter.begin(&writer)) return 0;
        } else if (!writer.newPage()) {
            break;
        }
        painter.drawImage(QRectF(QPointF(), QSizeF(image.size())), image);
        ++pages;
    }
    if (pages > 0 && !painter.end()) pages = 0;
    if (pages == 0) QFile::remove(destination);
    return pages;
}

bool zip(const QStringList& files, const QString& destination) {
    const auto& archiver = platform::services().archiver;
    if (!archiver) return false;
    // Removed with everything in it when this returns, whatever happened.
    QTemporaryDir work(QDir::temp().filePath(QStringLiteral("pictavia-zip-XXXXXX")));
    if (!work.isValid()) return false;
    const QString folder = work.filePath(zipFolderName);
    if (!QDir().mkpath(folder)) return false;
    for (const QString& path : files) {
        const QString copy = FileNamer::uniquePath(folder, QFileInfo(path).fileName());
        if (!QFile::copy(path, copy)) return false;
    }
    return archiver->zipFolder(folder, destination).ok();
}

QStringList beautifyAndExport(const QStringList& files, const QString& folder,
                              const std::optional<BeautifyPreset>& preset) {
    const BeautifyPreset style = preset.value_or(PresetStore::shared().active());
    const QString format = Prefs::text(QStringLiteral("imageFormat"));
    QStringList written;
    for (const QString& path : files) {
        const QImage image = ImageUtils::readFile(path);
        if (image.isNull()) continue;
        const double scale = scaleOf(path);
        const QImage styled = Beautifier::apply(image, scale, style, hasTransparency(image));
        const ImageUtils::Encoded encoded = ImageUtils::encode(styled, format, scale);
        const QString name = QFileInfo(path).completeBaseName() + QStringLiteral(" styled.") + encoded.format;
        if (const auto saved = SaveFolder::writeFile(FileNamer::uniquePath(folder, name), encoded.bytes))
            written << *saved;
    }
    return written;
}

void setPanels(Panels p) {
    panels() = std::move(p);
}

void exportPDF(const QStringList& files) {
    if (!hasSelection(files) || !panels().chooseSaveFile) return;
    const QString destination = panels().chooseSaveFile(QStringLiteral("Pictavia captures.pdf"));
    if (destination.isEmpty()) return;
    const int pages = writePDF(files, destination);
    if (pages == 0)
        Toast::show(QStringLiteral("Could not write the PDF"));
    else
        Toast::show(QStringLiteral("Saved %1 pages to %2").arg(pages).arg(QFileInfo(destination).fileName()));
}

void exportZIP(const QStringList& files) {
    if (!hasSelection(files) || !panels().chooseSaveFile) return;
    const QString destination = panels().chooseSaveFile(QStringLiteral("Pictavia captures.zip"));
    if (destination.isEmpty()) return;
    if (!zip(files, destination)) Toast::show(QStringLiteral("Could not create the archive"));
}

void beautifyAndExportToFolder(const QStringList& files) {
    if (!hasSelection(files) || !panels().chooseFolder) return;
    const QString folder = panels().chooseFolder();
    if (folder.isEmpty()) return;
    const auto count = beautifyAndExport(files, folder).size();
    Toast::show(QStringLiteral("Exported %1 styled %2").arg(count).arg(count == 1 ? u"image" : u"images"));
}

void share(const QStringList& files) {
    if (!hasSelection(files)) return;
    if (panels().revealFiles) {
        panels().revealFiles(files);
        return;
    }
    QStringList folders;
    for (const QString& path : files) {
        const QString folder = QFileInfo(path).absolutePath();
        if (!folders.contains(folder)) folders << folder;
    }
    for (const QString& folder : std::as_const(folders))
        QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace HistoryBatch
