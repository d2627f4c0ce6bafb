#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <optional>

// Reading the history index file, {"version":N,"records":[{...}, ...]}, without building a
// document tree: at 100,000 records a tree costs seconds and hundreds of megabytes.
namespace historyjson {

// The fields of one record object as found; text fields are UTF-8. A field of the wrong type
// reads as absent, as QJsonValue's conversions would give. The views last only for the
// call they are passed to; text is a copy, the one field big enough to be worth moving.
struct Fields {
    QByteArrayView name;
    QByteArray text;
    std::optional<QByteArrayView> app;
    std::optional<QByteArrayView> window;
    QByteArrayView date;
    QByteArrayView kind;
    int width = 0;
    int height = 0;
    std::optional<double> duration;
    bool keep = false;
};

// Calls each for every object of "records", in file order. False when the file is missing
// or is not well-formed JSON; the caller then drops whatever it was given.
bool read(const QString& path, const std::function<void(Fields&)>& each);

// What can still be read of a damaged file: calls each for every complete, well-formed
// record object found anywhere in it, in file order, whatever surrounds it (an end cut off,
// garbage written over a part). False only when the file cannot be read at all.
bool salvage(const QString& path, const std::function<void(Fields&)>& each);

} // namespace historyjson
