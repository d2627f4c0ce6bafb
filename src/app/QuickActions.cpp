#include "app/QuickActions.h"

#include "app/Toast.h"
#include "capture/FileNamer.h"
#include "capture/ImageUtils.h"
#include "capture/SaveFolder.h"
#include "platform/Platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace QuickActions {

void copy(const QString& file, const QImage& image) {
    auto& clipboard = platform::services().clipboard;
    if (!clipboard || image.isNull()) return;
    QByteArray png;
    if (QFileInfo(file).suffix().compare(QStringLiteral("png"), Qt::CaseInsensitive) == 0) {
        QFile source(file);
        if (source.open(QIODevice::ReadOnly)) png = source.readAll();
    }
    if (png.isEmpty()) png = ImageUtils::data(image, QStringLiteral("png"), image.devicePixelRatio());
    clipboard->setImage(image, png);
    Toast::show(QStringLiteral("Copied"));
}

std::optional<QString> save(const QString& file) {
    const QFileInfo source(file);
    if (!source.isFile()) {
        Toast::show(QStringLiteral("The capture's file is gone"));
        return std::nullopt;
    }
    const auto ready = SaveFolder::ready();
    if (!ready) return std::nullopt;
    const QString& folder = *ready;
    const QString saved = QStringLiteral("Saved to %1").arg(QDir(folder).dirName());
    if (source.absoluteDir().canonicalPath() == QDir(folder).canonicalPath()) {
        Toast::show(saved);
        return source.absoluteFilePath();
    }
    const QString path = FileNamer::uniquePath(folder, source.fileName());
    if (!QFile::copy(file, path)) {
        Toast::show(QStringLiteral("Could not save to %1").arg(QDir(folder).dirName()));
        return std::nullopt;
    }
    Toast::show(saved);
    return path;
}

bool saveImageAs(const QImage& image, const QString& path, double scale) {
    QString format = QFileInfo(path).suffix().toLower();
    if (format == u"jpeg") format = QStringLiteral("jpg");
    const ImageUtils::Encoded encoded = ImageUtils::encode(image, format, scale);
    // A format without an encoder comes back as PNG, and the name says so.
    QString target = path;
    if (encoded.format != format)
        target = QFileInfo(path).path() + u'/' + QFileInfo(path).completeBaseName() + QStringLiteral(".png");
    QSaveFile out(target);
    if (encoded.bytes.isEmpty() || !out.open(QIODevice::WriteOnly) ||
        out.write(encoded.bytes) != encoded.bytes.size() || !out.commit()) {
        Toast::show(QStringLiteral("Could not save %1").arg(QFileInfo(target).fileName()));
        return false;
    }
    Toast::show(QStringLiteral("Saved"));
    return true;
}

} // namespace QuickActions
