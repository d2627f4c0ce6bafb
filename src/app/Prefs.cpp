#include "app/Prefs.h"

#include "app/IniText.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QMutex>
#include <QSettings>
#include <QStandardPaths>

#include <cstdio>

namespace Prefs {

namespace {

const QString templateKey = QStringLiteral("filenameTemplate");
const QString defaultTemplate = QStringLiteral("Pictavia {date} at {time}");

QString configPath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/pictavia/pictavia.conf");
}

// QSettings hands the format only a device, but keeping the user's comments needs the
// file's current text, so the writer reads it from here.
QString& formatFilePath() {
    static QString path;
    return path;
}

bool readConf(QIODevice& device, QSettings::SettingsMap& map) {
    const IniText::Parsed parsed = IniText::parse(device.readAll());
    for (auto it = parsed.values.cbegin(); it != parsed.values.cend(); ++it)
        map.insert(it.key(), it.value());
    for (const QString& problem : parsed.problems)
        std::fprintf(stderr, "pictavia: %s: %s\n", qPrintable(formatFilePath()), qPrintable(problem));
    return true;
}

bool writeConf(QIODevice& device, const QSettings::SettingsMap& map) {
    QByteArray original;
    if (QFile file(formatFilePath()); file.open(QIODevice::ReadOnly)) original = file.readAll();
    if (original.isEmpty())
        original = "; Pictavia preferences. Lines starting with ; or # are comments and are kept.\n";
    return device.write(IniText::update(original, map)) >= 0;
}

struct Store {
    QMutex mutex;
    QHash<QString, QVariant> defaults;
    std::unique_ptr<QSettings> settings;

    QSettings& open() {
        if (!settings || formatFilePath() != configPath()) {
            static const QSettings::Format format =
                QSettings::registerFormat(QStringLiteral("conf"), readConf, writeConf);
            formatFilePath() = configPath();
            QDir().mkpath(QFileInfo(formatFilePath()).absolutePath());
            settings = std::make_unique<QSettings>(formatFilePath(), format);
        }
        return *settings;
    }
};

Store& store() {
    static Store s;
    return s;
}

std::optional<Area> readArea(const QString& rectKey, const QString& displayKey) {
    const auto rect = decodeRect(text(rectKey));
    if (!rect) return std::nullopt;
    return Area{*rect, static_cast<uint32_t>(value(displayKey).toULongLong())};
}

void writeArea(const QString& rectKey, const QString& displayKey, const std::optional<Area>& area) {
    if (!area) {
        remove(rectKey);
        remove(displayKey);
        return;
    }
    setValue(rectKey, encodeRect(area->rect));
    setValue(displayKey, static_cast<qulonglong>(area->displayID));
}

QVariant defaultOf(const QString& key) {
    for (const Default& d : defaults())
        if (d.key == key) return d.value;
    return {};
}

template <typename Values> auto enumValue(const QString& key, const Values& values) {
    if (auto parsed = values.parse(text(key))) return *parsed;
    return *values.parse(defaultOf(key).toString());
}

} // namespace

const QList<Default>& defaults() {
    static const QList<Default> table = {
        {QStringLiteral("imageFormat"), Type::Text, QStringLiteral("png")},
        {QStringLiteral("jpegQuality"), Type::Real, 0.9},
        {QStringLiteral("convertToSRGB"), Type::Flag, false},
        {QStringLiteral("cropNotch"), Type::Flag, true},
        {QStringLiteral("retinaSuffix"), Type::Flag, false},
        {QStringLiteral("showMagnifier"), Type::Flag, true},
        {QStringLiteral("askForName"), Type::Flag, false},
        {QStringLiteral("captureCounter"), Type::Integer, 1},
        {QStringLiteral("showQuickAccess"), Type::Flag, true},
        {QStringLiteral("copyToClipboard"), Type::Flag, true},
        {QStringLiteral("autoSaveToDisk"), Type::Flag, false},
        {QStringLiteral("saveDirectory"), Type::Text, QStringLiteral("~/Desktop")},
        {QStringLiteral("filenameTemplate"), Type::Text, QStringLiteral("Pictavia {date} at {time}")},
        {QStringLiteral("downscaleRetina"), Type::Flag, false},
        {QStringLiteral("freezeScreen"), Type::Flag, true},
        {QStringLiteral("windowShadow"), Type::Flag, true},
        {QStringLiteral("captureSound"), Type::Flag, true},
        {QStringLiteral("qaoAutoDismiss"), Type::Integer, 8},
        {QStringLiteral("qaoSize"), Type::Text, QStringLiteral("medium")},
        {QStringLiteral("hideDesktopWidgets"), Type::Flag, true},
        {QStringLiteral("recFPS"), Type::Integer, 30},
        {QStringLiteral("recShowCursor"), Type::Flag, true},
        {QStringLiteral("recShowClicks"), Type::Flag, true},
        {QStringLiteral("recShowKeystrokes"), Type::Flag, false},
        {QStringLiteral("recMic"), Type::Flag, false},
        {QStringLiteral("recSystemAudio"), Type::Flag, true},
        {QStringLiteral("recWebcam"), Type::Flag, false},
        {QStringLiteral("recCountdown"), Type::Integer, 3},
        {QStringLiteral("recPreventSleep"), Type::Flag, true},
        {QStringLiteral("recShowHUD"), Type::Flag, true},
        {QStringLiteral("gifFPS"), Type::Integer, 10},
        {QStringLiteral("gifMaxWidth"), Type::Integer, 1200},
        {QStringLiteral("gifQuality"), Type::Text, QStringLiteral("balanced")},
        {QStringLiteral("recMonoAudio"), Type::Flag, false},
        {QStringLiteral("recCleanVoice"), Type::Flag, true},
        {QStringLiteral("shareStats"), Type::Flag, false},
        {QStringLiteral("recCameraID"), Type::Text, QStringLiteral("")},
        {QStringLiteral("recMirrorCamera"), Type::Flag, true},
        {QStringLiteral("recPresenterOverlay"), Type::Flag, true},
        {QStringLiteral("recMaxResolution"), Type::Text, QStringLiteral("uhd")},
        {QStringLiteral("recCodec"), Type::Text, QStringLiteral("h264")},
        {QStringLiteral("recStudio"), Type::Flag, false},
        {QStringLiteral("scrollAxis"), Type::Text, QStringLiteral("auto")},
        {QStringLiteral("historyLimit"), Type::Integer, 100},
        {QStringLiteral("saveEditableProjects"), Type::Flag, true},
        {QStringLiteral("postAction"), Type::Text, QStringLiteral("none")},
        {QStringLiteral("postActionScript"), Type::Text, QStringLiteral("")},
        {QStringLiteral("postActionShortcut"), Type::Text, QStringLiteral("")},
        {QStringLiteral("postActionScope"), Type::Text, QStringLiteral("both")},
        {QStringLiteral("recStartShortcut"), Type::Text, QStringLiteral("")},
        {QStringLiteral("recStopShortcut"), Type::Text, QStringLiteral("")},
        {QStringLiteral("autoBeautify"), Type::Flag, false},
        {QStringLiteral("beautifyStyle"), Type::Text, QStringLiteral("glassCorvanta")},
        {QStringLiteral("beautifyPadding"), Type::Integer, 64},
        {QStringLiteral("beautifyRadius"), Type::Integer, 14},
        {QStringLiteral("showHomeAtLaunch"), Type::Flag, true},
        {QStringLiteral("menuBarShowIcon"), Type::Flag, true},
        {QStringLiteral("menuBarIcon"), Type::Text, QStringLiteral("mark")},
        {QStringLiteral("menuBarTimer"), Type::Flag, true},
        {QStringLiteral("menuBarClick"), Type::Text, QStringLiteral("menu")},
        {QStringLiteral("menuBarShortcutHints"), Type::Flag, true},
        {QStringLiteral("dockIcon"), Type::Text, QStringLiteral("whileOpen")},
        {QStringLiteral("menuBar.show.recording"), Type::Flag, true},
        {QStringLiteral("menuBar.show.tools"), Type::Flag, true},
        {QStringLiteral("menuBar.show.desktop"), Type::Flag, true},
        {QStringLiteral("menuBar.show.files"), Type::Flag, true},
        {QStringLiteral("menuBar.show.agents"), Type::Flag, true},
    };
    return table;
}

void registerDefaults() {
    Store& s = store();
    QMutexLocker lock(&s.mutex);
    for (const Default& d : defaults())
        s.defaults.insert(d.key, d.value);
}

QString filePath() {
    return configPath();
}

QVariant value(const QString& key) {
    Store& s = store();
    QMutexLocker lock(&s.mutex);
    return s.open().value(key, s.defaults.value(key));
}

void setValue(const QString& key, const QVariant& value) {
    Store& s = store();
    QMutexLocker lock(&s.mutex);
    s.open().setValue(key, value);
}

void remove(const QString& key) {
    Store& s = store();
    QMutexLocker lock(&s.mutex);
    s.open().remove(key);
}

void sync() {
    Store& s = store();
    QMutexLocker lock(&s.mutex);
    QSettings& settings = s.open();
    settings.sync();
    if (settings.status() == QSettings::AccessError)
        std::fprintf(stderr, "pictavia: cannot write the preferences file %s\n",
                     qPrintable(formatFilePath()));
}

bool flag(const QString& key) {
    const QVariant v = value(key);
    if (v.typeId() == QMetaType::QString) {
        const QString t = v.toString().trimmed().toLower();
        return t == u"true" || t == u"1" || t == u"yes" || t == u"on";
    }
    return v.toBool();
}

int integer(const QString& key) {
    bool ok = false;
    const int n = value(key).toInt(&ok);
    return ok ? n : defaultOf(key).toInt();
}

double real(const QString& key) {
    bool ok = false;
    const double d = value(key).toDouble(&ok);
    return ok ? d : defaultOf(key).toDouble();
}

QString text(const QString& key) {
    return value(key).toString();
}

QString saveDirectory() {
    QString dir = text(QStringLiteral("saveDirectory"));
    if (dir == u"~" || dir.startsWith(QStringLiteral("~/"))) dir = QDir::homePath() + dir.mid(1);
    return dir;
}

QString filenameTemplate() {
    const QVariant v = value(templateKey);
    return v.isValid() ? v.toString() : defaultTemplate;
}

std::optional<Area> lastArea() {
    return readArea(QStringLiteral("lastAreaRect"), QStringLiteral("lastAreaDisplay"));
}
void setLastArea(const std::optional<Area>& area) {
    writeArea(QStringLiteral("lastAreaRect"), QStringLiteral("lastAreaDisplay"), area);
}
std::optional<Area> lastRecordingArea() {
    return readArea(QStringLiteral("lastRecAreaRect"), QStringLiteral("lastRecAreaDisplay"));
}
void setLastRecordingArea(const std::optional<Area>& area) {
    writeArea(QStringLiteral("lastRecAreaRect"), QStringLiteral("lastRecAreaDisplay"), area);
}

QString encodeRect(const QRectF& rect) {
    const auto n = [](double d) { return QString::number(d, 'g', QLocale::FloatingPointShortest); };
    return QStringList{n(rect.x()), n(rect.y()), n(rect.width()), n(rect.height())}.join(u',');
}

std::optional<QRectF> decodeRect(const QString& text) {
    const QStringList parts = text.split(u',');
    if (parts.size() != 4) return std::nullopt;
    double n[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        n[i] = parts[i].trimmed().toDouble(&ok);
        if (!ok) return std::nullopt;
    }
    return QRectF(n[0], n[1], n[2], n[3]);
}

QAOSize qaoSize() {
    return enumValue(QStringLiteral("qaoSize"), qaoSizeValues);
}
PostActionKind postAction() {
    return enumValue(QStringLiteral("postAction"), postActionKindValues);
}
PostActionScope postActionScope() {
    return enumValue(QStringLiteral("postActionScope"), postActionScopeValues);
}
ScrollAxis scrollAxis() {
    return enumValue(QStringLiteral("scrollAxis"), scrollAxisValues);
}
RecordingCodec recCodec() {
    return enumValue(QStringLiteral("recCodec"), recordingCodecValues);
}
GIFQuality gifQuality() {
    return enumValue(QStringLiteral("gifQuality"), gifQualityValues);
}
RecordingResolution recMaxResolution() {
    return enumValue(QStringLiteral("recMaxResolution"), recordingResolutionValues);
}

} // namespace Prefs
