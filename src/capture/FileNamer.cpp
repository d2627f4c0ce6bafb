#include "capture/FileNamer.h"

#include "app/Prefs.h"
#include "platform/Platform.h"

#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>

namespace FileNamer {

namespace {

const QString retinaSuffix = QStringLiteral("@2x");

QString formatted(const QDateTime& date, const QString& pattern) {
    return QLocale::c().toString(date, pattern);
}

} // namespace

QString filename(const QString& ext, const QDateTime& date, const CaptureContext& context, double scale) {
    if (context.explicitName && !context.explicitName->isEmpty()) return *context.explicitName + u'.' + ext;

    const QString day = formatted(date, QStringLiteral("yyyy-MM-dd"));
    const QString time = formatted(date, QStringLiteral("HH.mm.ss"));
    const int counter = context.counter ? *context.counter : Prefs::integer(QStringLiteral("captureCounter"));

    QString name = Prefs::filenameTemplate();
    name.replace(QStringLiteral("{date}"), day)
        .replace(QStringLiteral("{time}"), time)
        .replace(QStringLiteral("{app}"), sanitize(context.appName.value_or(QString())))
        .replace(QStringLiteral("{window}"), sanitize(context.windowTitle.value_or(QString())))
        .replace(QStringLiteral("{counter}"), QString::number(counter));

    if (name.isEmpty()) name = QStringLiteral("Pictavia ") + day + QStringLiteral(" at ") + time;
    if (Prefs::flag(QStringLiteral("retinaSuffix")) && scale > 1.5 && !name.endsWith(retinaSuffix))
        name += retinaSuffix;
    return name + u'.' + ext;
}

QString sanitize(const QString& text) {
    static const QRegularExpression unsafe(QStringLiteral("[/:\\\\?%*|\"<>]"));
    return text.split(unsafe).join(u'-').trimmed();
}

std::optional<QString> askForName(const QString& defaultName) {
    const auto& prompt = platform::services().namePrompt;
    if (!prompt) return defaultName;
    const auto answer =
        prompt->askForName(QStringLiteral("Name this capture"),
                           QStringLiteral("It is saved to your Pictavia folder."), defaultName);
    if (!answer) return std::nullopt;
    const QString name = sanitize(*answer);
    return name.isEmpty() ? defaultName : name;
}

QString uniquePath(const QString& directory, const QString& fileName) {
    const QFileInfo name(fileName);
    QString base = name.completeBaseName();
    QString suffix = name.suffix().isEmpty() ? QString() : u'.' + name.suffix();
    if (base.endsWith(retinaSuffix)) { // the scale marker stays last: "Shot (2)@2x.png"
        base.chop(retinaSuffix.size());
        suffix.prepend(retinaSuffix);
    }
    QString path = directory + u'/' + fileName;
    for (int n = 2; QFileInfo::exists(path); ++n)
        path = directory + u'/' + base + QStringLiteral(" (%1)").arg(n) + suffix;
    return path;
}

} // namespace FileNamer
