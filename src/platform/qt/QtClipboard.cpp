#include "platform/qt/QtClipboard.h"
#include "common/PngBytes.h"

#include "platform/qt/ClipboardServerLifetime.h"

#include <QBuffer>
#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryFile>
#include <QUrl>

#include <chrono>

namespace platform::qt {

namespace {

// Copied files first: a file manager's copy also carries an icon as an image.
Clipboard::Contents currentContents() {
    Clipboard::Contents contents;
    if (!qobject_cast<QGuiApplication*>(QCoreApplication::instance())) return contents;
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!data) return contents;
    for (const QUrl& url : data->urls())
        if (url.isLocalFile()) contents.files.append(url.toLocalFile());
    if (contents.files.isEmpty() && data->hasImage())
        contents.image = qvariant_cast<QImage>(data->imageData());
    return contents;
}

const QString pngMime = QStringLiteral("image/png");

// Offers PNG bytes as they are and decodes only for programs that ask for another type.
class PngMimeData : public QMimeData {
public:
    explicit PngMimeData(QByteArray png) : m_png(std::move(png)) {}
    QStringList formats() const override { return {pngMime, QStringLiteral("application/x-qt-image")}; }
    bool hasFormat(const QString& mime) const override { return formats().contains(mime); }

protected:
    QVariant retrieveData(const QString& mime, QMetaType type) const override {
        if (mime == pngMime && type.id() != QMetaType::QImage) return m_png;
        return QImage::fromData(m_png, "PNG");
    }

private:
    QByteArray m_png;
};

QMimeData* mimeForImage(const QImage& image, const QByteArray& pngBytes) {
    if (!pngBytes.isEmpty()) return new PngMimeData(pngBytes);
    auto* mime = new QMimeData;
    mime->setImageData(image);
    return mime;
}

// File URLs, with the form GNOME's and other file managers paste from.
QMimeData* mimeForFiles(const QStringList& paths) {
    auto* mime = new QMimeData;
    QList<QUrl> urls;
    QByteArray copied = "copy";
    for (const QString& path : paths) {
        urls.append(QUrl::fromLocalFile(path));
        copied += '\n' + urls.last().toEncoded();
    }
    mime->setUrls(urls);
    mime->setData(QStringLiteral("x-special/gnome-copied-files"), copied);
    return mime;
}

} // namespace

void QtClipboard::setImage(const QImage& image, const QByteArray& pngBytes) {
    QGuiApplication::clipboard()->setMimeData(mimeForImage(image, pngBytes));
}

void QtClipboard::setText(const QString& text) {
    QGuiApplication::clipboard()->setText(text);
}

void QtClipboard::setFiles(const QStringList& paths) {
    QGuiApplication::clipboard()->setMimeData(mimeForFiles(paths));
}

Clipboard::Contents QtClipboard::contents() const {
    return currentContents();
}

DetachedClipboard::DetachedClipboard(QString executable) : m_executable(std::move(executable)) {}

void DetachedClipboard::setImage(const QImage& image, const QByteArray& pngBytes) {
    handOver(QStringLiteral("image"), pngBytes.isEmpty() ? ::pngBytes(image) : pngBytes);
}

void DetachedClipboard::setText(const QString& text) {
    handOver(QStringLiteral("text"), text.toUtf8());
}

void DetachedClipboard::setFiles(const QStringList& paths) {
    handOver(QStringLiteral("files"), paths.join(u'\n').toUtf8());
}

Clipboard::Contents DetachedClipboard::contents() const {
    return currentContents();
}

void DetachedClipboard::handOver(const QString& kind, const QByteArray& data) {
    // The session's private runtime folder where there is one: the data may be sensitive.
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    const QString dir = !runtime.isEmpty() && QDir(runtime).exists() ? runtime : QDir::tempPath();
    // The name carries when the copy was made: a later copy's server outranks this one's.
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    QTemporaryFile file(dir + QStringLiteral("/pictavia-clipboard-%1-XXXXXX")
                                  .arg(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count()));
    file.setAutoRemove(false);
    if (!file.open() || file.write(data) != data.size()) {
        file.remove();
        return;
    }
    file.close();
    // Detached, and holding none of our output streams: a caller reading our output must
    // see it end when we exit.
    QProcess server;
    server.setProgram(m_executable);
    server.setArguments({QStringLiteral("--serve-clipboard"), kind, file.fileName()});
    server.setStandardInputFile(QProcess::nullDevice());
    server.setStandardOutputFile(QProcess::nullDevice());
    server.setStandardErrorFile(QProcess::nullDevice());
    if (!server.startDetached()) file.remove();
}

int serveClipboard(const QString& kind, const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return 1;
    const QByteArray data = file.readAll();
    file.remove();

    static const QRegularExpression stamped(QStringLiteral("pictavia-clipboard-(\\d+)-[^/]*$"));
    ClipboardServerLifetime lifetime(stamped.match(path).captured(1).toLongLong());
    QClipboard* clipboard = QGuiApplication::clipboard();
    QObject::connect(clipboard, &QClipboard::changed, qApp, [clipboard](QClipboard::Mode mode) {
        if (mode == QClipboard::Clipboard && !clipboard->ownsClipboard()) QGuiApplication::quit();
    });
    const bool serving = lifetime.claim([&] {
        if (kind == u"image")
            clipboard->setMimeData(new PngMimeData(data));
        else if (kind == u"files")
            clipboard->setMimeData(mimeForFiles(QString::fromUtf8(data).split(u'\n', Qt::SkipEmptyParts)));
        else
            clipboard->setText(QString::fromUtf8(data));
    });
    if (!serving) return 0; // a newer copy is on the clipboard already
    lifetime.watch([] { QGuiApplication::quit(); });
    return QGuiApplication::exec();
}

} // namespace platform::qt
