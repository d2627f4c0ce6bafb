#pragma once

#include "app/PreferenceEnums.h"

#include <QRectF>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <optional>

// User preferences: flat keys in ~/.config/pictavia/pictavia.conf (under $XDG_CONFIG_HOME).
// Every key has a registered default that is read until the user changes it; defaults are
// never written to the file. Safe to use from any thread.
namespace Prefs {

enum class Type { Flag, Integer, Real, Text };

struct Default {
    QString key;
    Type type;
    QVariant value;
};

// Every key with a default, in registration order.
const QList<Default>& defaults();

// Makes the defaults readable. Called once at start-up before anything reads a key;
// calling it again does nothing.
void registerDefaults();

// The file the preferences live in.
QString filePath();

// Reads re-open the file when another process changed it.
QVariant value(const QString& key);
void setValue(const QString& key, const QVariant& value);
void remove(const QString& key);
// Writes pending changes to the file now (they are otherwise written shortly after).
void sync();

bool flag(const QString& key);
int integer(const QString& key);
double real(const QString& key);
QString text(const QString& key);

// "saveDirectory" with a leading "~" expanded to the home folder.
QString saveDirectory();
// "filenameTemplate", or "Pictavia {date} at {time}" when none is stored.
QString filenameTemplate();

// A remembered capture area: a rectangle and the number of the display it was on.
struct Area {
    QRectF rect;
    uint32_t displayID = 0;
    bool operator==(const Area&) const = default;
};
std::optional<Area> lastArea();
void setLastArea(const std::optional<Area>& area);
std::optional<Area> lastRecordingArea();
void setLastRecordingArea(const std::optional<Area>& area);

// "x,y,width,height", each number in its shortest form; and back (none unless exactly
// four numbers).
QString encodeRect(const QRectF& rect);
std::optional<QRectF> decodeRect(const QString& text);

QAOSize qaoSize();
PostActionKind postAction();
PostActionScope postActionScope();
ScrollAxis scrollAxis();
RecordingCodec recCodec();
GIFQuality gifQuality();
RecordingResolution recMaxResolution();

} // namespace Prefs
