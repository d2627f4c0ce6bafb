#include "video/RecordingTimeline.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

namespace {
const QString kVersion = QStringLiteral("version");
const QString kClicks = QStringLiteral("clicks");
const QString kClicksTracked = QStringLiteral("clicksTracked");
const QString kCursor = QStringLiteral("cursor");
const QString kCursorShapes = QStringLiteral("cursorShapes");
const QString kStudio = QStringLiteral("studio");
const QString kAreaWidth = QStringLiteral("areaWidth");
const QString kAreaHeight = QStringLiteral("areaHeight");
const QString kCaptions = QStringLiteral("captions");
const QString kCaptionsLanguage = QStringLiteral("captionsLanguage");
const QString kMicrophone = QStringLiteral("microphone");
const QString kWebcam = QStringLiteral("webcam");
} // namespace

QJsonObject RecordingTimeline::toJson() const {
    QJsonObject o{{kVersion, version},
                  {kClicks, toJsonArray(clicks)},
                  {kClicksTracked, clicksTracked},
                  {kCursor, toJsonArray(cursor)},
                  {kCursorShapes, toJsonArray(cursorShapes)},
                  {kStudio, studio},
                  {kAreaWidth, areaWidth},
                  {kAreaHeight, areaHeight},
                  {kCaptions, toJsonArray(captions)}};
    if (captionsLanguage) o.insert(kCaptionsLanguage, *captionsLanguage);
    if (microphone) o.insert(kMicrophone, *microphone);
    if (webcam) o.insert(kWebcam, webcam->toJson());
    return o;
}

RecordingTimeline RecordingTimeline::fromJson(const QJsonObject& o) {
    RecordingTimeline t;
    t.version = o.value(kVersion).toInt(currentVersion);
    t.clicks = fromJsonArray<ClickMark>(o.value(kClicks).toArray());
    t.clicksTracked = o.value(kClicksTracked).toBool();
    t.cursor = fromJsonArray<CursorSample>(o.value(kCursor).toArray());
    t.cursorShapes = fromJsonArray<CursorShape>(o.value(kCursorShapes).toArray());
    t.studio = o.value(kStudio).toBool();
    t.areaWidth = o.value(kAreaWidth).toDouble();
    t.areaHeight = o.value(kAreaHeight).toDouble();
    t.captions = fromJsonArray<CaptionLine>(o.value(kCaptions).toArray());
    if (o.value(kCaptionsLanguage).isString()) t.captionsLanguage = o.value(kCaptionsLanguage).toString();
    if (o.value(kMicrophone).isBool()) t.microphone = o.value(kMicrophone).toBool();
    if (o.value(kWebcam).isObject()) t.webcam = WebcamInfo::fromJson(o.value(kWebcam).toObject());
    return t;
}

namespace TimelineStore {

QString path(const QString& movie) {
    const QFileInfo info(movie);
    return info.dir().filePath(info.completeBaseName() + QStringLiteral(".json"));
}

Result<bool> save(const RecordingTimeline& timeline, const QString& movie) {
    QSaveFile file(path(movie));
    if (!file.open(QIODevice::WriteOnly) ||
        file.write(QJsonDocument(timeline.toJson()).toJson(QJsonDocument::Compact)) < 0 || !file.commit())
        return Error{QStringLiteral("Cannot write %1: %2").arg(file.fileName(), file.errorString())};
    return true;
}

Result<std::optional<RecordingTimeline>> load(const QString& movie) {
    QFile file(path(movie));
    if (!file.exists()) return std::optional<RecordingTimeline>();
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("Cannot read %1: %2").arg(file.fileName(), file.errorString())};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll(), &error);
    if (!document.isObject())
        return Error{
            QStringLiteral("The timeline %1 is damaged: %2").arg(file.fileName(), error.errorString())};
    return std::optional(RecordingTimeline::fromJson(document.object()));
}

Result<RecordingTimeline> saveCaptions(const QString& movie, const QList<CaptionLine>& captions,
                                       const std::optional<QString>& language) {
    auto existing = load(movie);
    if (!existing) return existing.error();
    RecordingTimeline timeline = existing->value_or(RecordingTimeline{});
    timeline.captions = captions;
    if (language) timeline.captionsLanguage = language;
    if (auto saved = save(timeline, movie); !saved) return saved.error();
    return timeline;
}

QString sidePath(const QString& movie, const QString& role, const QString& extension) {
    const QFileInfo info(movie);
    return info.dir().filePath(u'.' + info.completeBaseName() + u'.' + role + u'.' + extension);
}

Result<QString> keep(const QString& file, const QString& role, const QString& movie) {
    const QString target = sidePath(movie, role, QFileInfo(file).suffix());
    QFile::remove(target);
    if (!QFile::rename(file, target) && !(QFile::copy(file, target) && QFile::remove(file)))
        return Error{QStringLiteral("Cannot keep %1 beside %2").arg(file, movie)};
    return target;
}

void remove(const QString& movie) {
    QFile::remove(path(movie));
    const QFileInfo info(movie);
    const QString prefix = u'.' + info.completeBaseName() + u'.';
    for (const QString& name : info.dir().entryList({prefix + u'*'}, QDir::Files | QDir::Hidden))
        QFile::remove(info.dir().filePath(name));
}

} // namespace TimelineStore
