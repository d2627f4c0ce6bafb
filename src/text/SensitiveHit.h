#pragma once

#include <QRectF>
#include <QString>
#include <QUuid>

// Something in a picture that looks like a secret or personal data.
struct SensitiveHit {
    QUuid id;
    QRectF rect;    // image pixels, origin at the top left
    QString kind;   // one of SensitiveScanner::kinds()
    QString sample; // the text as recognised
};
