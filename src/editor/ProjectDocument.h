#pragma once

#include "common/Result.h"
#include "editor/Annotation.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// An edited capture kept re-editable: the untouched image, the annotations as objects and
// the beautify settings. Stored as a binary property list.
struct ProjectDocument {
    static constexpr int currentVersion = 1;

    int version = currentVersion;
    QString app = QStringLiteral("Pictavia");
    QDateTime savedAt = QDateTime::currentDateTimeUtc();
    QByteArray imagePNG;
    double scale = 1.0;
    QList<Annotation> annotations;
    double padding = 0.0;
    double cornerRadius = 0.0;
    QString background = QStringLiteral("none");
    int nextCounter = 1;
    int nextStep = 1;
    std::optional<QString> sourceFileName;
    bool isWindowCapture = false;
    bool windowShadow = true;
    std::optional<QByteArray> backdropPNG;
    std::optional<QByteArray> customBackgroundPNG;

    // The keyed form, keys named as the fields.
    QVariantMap encode() const;
    // Every key but "imagePNG" may be missing; an annotation that cannot be read is
    // skipped rather than failing the document.
    static Result<ProjectDocument> decode(const QVariantMap& map);

    // The binary property list ("bplist00") form.
    QByteArray toBinary() const;
    // Failures name what is wrong: not a property list, not a Pictavia project, no image.
    static Result<ProjectDocument> fromBinary(const QByteArray& bytes);
};
