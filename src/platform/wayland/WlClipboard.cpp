#include "platform/wayland/WlClipboard.h"
#include "common/PngBytes.h"

#include "common/Log.h"

#include <QBuffer>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>
#include <QUrl>

namespace platform::wayland {

namespace {

constexpr int helperTimeoutMs = 5000;

// Hands `data` to wl-copy as `mime`. wl-copy leaves a process behind that serves the
// selection, so its output goes to a file rather than to pipes that process would keep open.
Result<bool> copy(const QByteArray& data, const QString& mime) {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("wl-copy"));
    if (program.isEmpty())
        return Error{QStringLiteral("wl-copy is not installed (Debian package wl-clipboard).")};
    QTemporaryFile errors;
    if (!errors.open()) return Error{QStringLiteral("no temporary file for wl-copy's messages.")};
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(errors.fileName());
    process.start(program, {QStringLiteral("--type"), mime});
    if (!process.waitForStarted(helperTimeoutMs)) return Error{QStringLiteral("wl-copy did not start.")};
    process.write(data);
    process.closeWriteChannel();
    if (!process.waitForFinished(helperTimeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return Error{QStringLiteral("wl-copy did not finish.")};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) {
        QFile file(errors.fileName());
        file.open(QIODevice::ReadOnly);
        const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
        const QString said = QString::fromLocal8Bit(lines.last()).trimmed();
        return Error{said.isEmpty() ? QStringLiteral("wl-copy failed.")
                                    : QStringLiteral("wl-copy said \"%1\".").arg(said)};
    }
    return true;
}

void copyLogged(const QByteArray& data, const QString& mime) {
    if (const auto copied = copy(data, mime); !copied)
        qCWarning(lcPictavia).noquote() << "Could not copy to the clipboard:" << copied.error().message;
}

// What wl-paste gives for `args`, or nothing when it is missing, fails or the clipboard is empty.
QByteArray paste(const QStringList& args) {
    const QString program = QStandardPaths::findExecutable(QStringLiteral("wl-paste"));
    if (program.isEmpty()) return {};
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, args);
    if (!process.waitForFinished(helperTimeoutMs)) {
        process.kill();
        process.waitForFinished(1000);
        return {};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) return {};
    return process.readAllStandardOutput();
}

} // namespace

Result<bool> WlClipboard::copyImage(const QImage& image, const QByteArray& pngBytes) {
    return copy(pngBytes.isEmpty() ? ::pngBytes(image) : pngBytes, QStringLiteral("image/png"));
}

void WlClipboard::setImage(const QImage& image, const QByteArray& pngBytes) {
    copyLogged(pngBytes.isEmpty() ? ::pngBytes(image) : pngBytes, QStringLiteral("image/png"));
}

void WlClipboard::setText(const QString& text) {
    copyLogged(text.toUtf8(), QStringLiteral("text/plain;charset=utf-8"));
}

void WlClipboard::setFiles(const QStringList& paths) {
    QByteArray list;
    for (const QString& path : paths)
        list += QUrl::fromLocalFile(path).toEncoded() + "\r\n";
    copyLogged(list, QStringLiteral("text/uri-list"));
}

Clipboard::Contents WlClipboard::contents() const {
    Contents contents;
    const QList<QByteArray> types = paste({QStringLiteral("--list-types")}).split('\n');
    if (types.contains("text/uri-list")) {
        const QList<QByteArray> lines =
            paste({QStringLiteral("--no-newline"), QStringLiteral("--type"), QStringLiteral("text/uri-list")})
                .split('\n');
        for (const QByteArray& line : lines) {
            const QUrl url = QUrl::fromEncoded(line.trimmed());
            if (url.isLocalFile()) contents.files.append(url.toLocalFile());
        }
    }
    if (contents.files.isEmpty() && types.contains("image/png"))
        contents.image = QImage::fromData(
            paste({QStringLiteral("--no-newline"), QStringLiteral("--type"), QStringLiteral("image/png")}),
            "PNG");
    return contents;
}

} // namespace platform::wayland
