#include "editor/ProjectDocument.h"

#include "platform/plist/BinaryPropertyList.h"

#include <QVariantList>

#include <cmath>
#include <limits>

namespace {

const QString AppName = QStringLiteral("Pictavia");

Error notAProject(const QString& key, const QString& expectation) {
    return Error{
        QStringLiteral("This is not a Pictavia project: its \"%1\" is not %2.").arg(key, expectation)};
}

bool isNumber(const QVariant& value) {
    switch (value.typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
    case QMetaType::Float:
        return std::isfinite(value.toDouble());
    default:
        return false;
    }
}

// Reads one optional key: absent keeps `out`, present with the wrong type is an error.
// Each reader returns false when the value does not fit.
template <typename T, typename Read>
std::optional<Error> readKey(const QVariantMap& map, const char* key, const char* expectation, T& out,
                             Read read) {
    const auto it = map.constFind(QLatin1String(key));
    if (it == map.constEnd()) return std::nullopt;
    if (!read(*it, out)) return notAProject(QLatin1String(key), QLatin1String(expectation));
    return std::nullopt;
}

bool readInt(const QVariant& v, int& out) {
    if (!isNumber(v)) return false;
    const double d = v.toDouble();
    if (d != std::floor(d) || d < std::numeric_limits<int>::min() || d > std::numeric_limits<int>::max())
        return false;
    out = int(d);
    return true;
}

bool readReal(const QVariant& v, double& out) {
    if (!isNumber(v)) return false;
    out = v.toDouble();
    return true;
}

bool readBool(const QVariant& v, bool& out) {
    if (v.typeId() != QMetaType::Bool) return false;
    out = v.toBool();
    return true;
}

bool readText(const QVariant& v, QString& out) {
    if (v.typeId() != QMetaType::QString) return false;
    out = v.toString();
    return true;
}

bool readBytes(const QVariant& v, QByteArray& out) {
    if (v.typeId() != QMetaType::QByteArray) return false;
    out = v.toByteArray();
    return true;
}

bool readDate(const QVariant& v, QDateTime& out) {
    if (v.typeId() != QMetaType::QDateTime || !v.toDateTime().isValid()) return false;
    out = v.toDateTime();
    return true;
}

template <typename T, typename Read> auto optionalOf(Read read) {
    return [read](const QVariant& v, std::optional<T>& out) {
        T value;
        if (!read(v, value)) return false;
        out = std::move(value);
        return true;
    };
}

} // namespace

QVariantMap ProjectDocument::encode() const {
    QVariantList encodedAnnotations;
    encodedAnnotations.reserve(annotations.size());
    for (const Annotation& annotation : annotations)
        encodedAnnotations.append(annotation.encode());

    QVariantMap map{
        {QStringLiteral("version"), version},
        {QStringLiteral("app"), app},
        {QStringLiteral("savedAt"), savedAt},
        {QStringLiteral("imagePNG"), imagePNG},
        {QStringLiteral("scale"), scale},
        {QStringLiteral("annotations"), encodedAnnotations},
        {QStringLiteral("padding"), padding},
        {QStringLiteral("cornerRadius"), cornerRadius},
        {QStringLiteral("background"), background},
        {QStringLiteral("nextCounter"), nextCounter},
        {QStringLiteral("nextStep"), nextStep},
        {QStringLiteral("isWindowCapture"), isWindowCapture},
        {QStringLiteral("windowShadow"), windowShadow},
    };
    if (sourceFileName) map.insert(QStringLiteral("sourceFileName"), *sourceFileName);
    if (backdropPNG) map.insert(QStringLiteral("backdropPNG"), *backdropPNG);
    if (customBackgroundPNG) map.insert(QStringLiteral("customBackgroundPNG"), *customBackgroundPNG);
    return map;
}

Result<ProjectDocument> ProjectDocument::decode(const QVariantMap& map) {
    ProjectDocument d;
    // Whatever wrote a file without our name and without an image was not this application.
    const auto image = map.constFind(QStringLiteral("imagePNG"));
    const QVariant appValue = map.value(QStringLiteral("app"));
    const bool foreignApp = appValue.isValid() && appValue != QVariant(AppName);
    if (image == map.constEnd() && foreignApp)
        return Error{QStringLiteral("This is not a Pictavia project.")};
    if (image == map.constEnd()) return Error{QStringLiteral("The project has no image.")};
    if (!readBytes(*image, d.imagePNG) || d.imagePNG.isEmpty())
        return Error{QStringLiteral("The project has no image.")};

    std::optional<Error> error;
    const auto check = [&error](std::optional<Error> e) {
        if (!error && e) error = std::move(e);
    };
    check(readKey(map, "version", "a whole number", d.version, readInt));
    check(readKey(map, "app", "text", d.app, readText));
    check(readKey(map, "savedAt", "a date", d.savedAt, readDate));
    check(readKey(map, "scale", "a number", d.scale, readReal));
    check(readKey(map, "padding", "a number", d.padding, readReal));
    check(readKey(map, "cornerRadius", "a number", d.cornerRadius, readReal));
    check(readKey(map, "background", "text", d.background, readText));
    check(readKey(map, "nextCounter", "a whole number", d.nextCounter, readInt));
    check(readKey(map, "nextStep", "a whole number", d.nextStep, readInt));
    check(readKey(map, "sourceFileName", "text", d.sourceFileName, optionalOf<QString>(readText)));
    check(readKey(map, "isWindowCapture", "true or false", d.isWindowCapture, readBool));
    check(readKey(map, "windowShadow", "true or false", d.windowShadow, readBool));
    check(readKey(map, "backdropPNG", "image data", d.backdropPNG, optionalOf<QByteArray>(readBytes)));
    check(readKey(map, "customBackgroundPNG", "image data", d.customBackgroundPNG,
                  optionalOf<QByteArray>(readBytes)));
    if (error) return *error;
    if (!(d.scale > 0)) return notAProject(QStringLiteral("scale"), QStringLiteral("a positive number"));

    if (const auto it = map.constFind(QStringLiteral("annotations")); it != map.constEnd()) {
        if (it->typeId() != QMetaType::QVariantList)
            return notAProject(QStringLiteral("annotations"), QStringLiteral("a list"));
        // One unreadable annotation costs that annotation, not the whole project.
        for (const QVariant& item : it->toList()) {
            if (item.typeId() != QMetaType::QVariantMap) continue;
            if (auto annotation = Annotation::decode(item.toMap()))
                d.annotations.append(std::move(annotation).value());
        }
    }
    return d;
}

QByteArray ProjectDocument::toBinary() const {
    return BinaryPropertyList::encode(encode());
}

Result<ProjectDocument> ProjectDocument::fromBinary(const QByteArray& bytes) {
    const auto decoded = BinaryPropertyList::decode(bytes);
    if (!decoded)
        return Error{QStringLiteral("This is not a Pictavia project. %1").arg(decoded.error().message)};
    if (decoded->typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("This is not a Pictavia project.")};
    return decode(decoded->toMap());
}
