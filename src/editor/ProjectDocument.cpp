#include "editor/ProjectDocument.h"

#include "common/KeyedValues.h"
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
    const auto png = KeyedValues::bytes(*image);
    if (!png || png->isEmpty()) return Error{QStringLiteral("The project has no image.")};
    d.imagePNG = *png;

    using namespace KeyedValues;
    Reader read(map, notAProject);
    read.optional("version", "a whole number", d.version, wholeNumber);
    read.optional("app", "text", d.app, text);
    read.optional("savedAt", "a date", d.savedAt, date);
    read.optional("scale", "a number", d.scale, number);
    read.optional("padding", "a number", d.padding, number);
    read.optional("cornerRadius", "a number", d.cornerRadius, number);
    read.optional("background", "text", d.background, text);
    read.optional("nextCounter", "a whole number", d.nextCounter, wholeNumber);
    read.optional("nextStep", "a whole number", d.nextStep, wholeNumber);
    read.optional("sourceFileName", "text", d.sourceFileName, text);
    read.optional("isWindowCapture", "true or false", d.isWindowCapture, boolean);
    read.optional("windowShadow", "true or false", d.windowShadow, boolean);
    read.optional("backdropPNG", "image data", d.backdropPNG, bytes);
    read.optional("customBackgroundPNG", "image data", d.customBackgroundPNG, bytes);
    if (read.error()) return *read.error();
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
