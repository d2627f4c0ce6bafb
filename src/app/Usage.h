#pragma once

#include <QMap>
#include <QString>

// Anonymous local usage counts under dotted names ("capture.area"), kept in the data
// folder's "usage.json". Nothing leaves the machine.
namespace Usage {

void count(const QString& event);
QMap<QString, qint64> counts();

} // namespace Usage
