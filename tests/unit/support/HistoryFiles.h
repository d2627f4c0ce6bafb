#pragma once

#include "capture/HistoryManager.h"
#include "history/HistoryIndex.h"

#include <QFile>
#include <QImage>

#include <memory>

namespace testsupport {

// An index.json under `dataDirectory` holding these records, each with a small white PNG
// in the history folder, opened as an index.
inline std::unique_ptr<HistoryIndex> historyWith(const QList<HistoryRecord>& records,
                                                 const QString& dataDirectory) {
    QByteArray bytes = "{\"version\":1,\"records\":[";
    for (const HistoryRecord& record : records) {
        if (!bytes.endsWith('[')) bytes += ',';
        record.appendJson(bytes);
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(Qt::white);
        image.save(HistoryManager::directory() + "/" + record.name, "PNG");
    }
    bytes += "]}";
    const QString file = dataDirectory + "/Pictavia/index.json";
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly)) return nullptr;
    out.write(bytes);
    out.close();
    return std::make_unique<HistoryIndex>(file, HistoryManager::directory());
}

} // namespace testsupport
