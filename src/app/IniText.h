#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>

// The preferences file: "key = value" lines, optional [section] headers (keys of a section
// read as "section/key"; [General] holds plain keys), and comment lines starting with ';'
// or '#'. People edit this file by hand, so writing it back keeps their comments, blank
// lines, order and any line it could not understand.
namespace IniText {

struct Parsed {
    QMap<QString, QString> values;
    QStringList problems; // one readable sentence per line that was not understood
};

Parsed parse(const QByteArray& text);

// `original` with every value of `values` written in, lines of keys no longer present
// removed, and new keys added to their section.
QByteArray update(const QByteArray& original, const QMap<QString, QVariant>& values);

// The text form of one value, quoted where spaces at the ends or a leading quote need it.
QString encodeValue(const QVariant& value);

} // namespace IniText
