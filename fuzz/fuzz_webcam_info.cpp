// A recording's camera places come back from a side file anyone can edit: any bytes must give
// placements in time order, and a lookup must find one of them (or none when there are none).
#include "recording/WebcamInfo.h"

#include <QJsonDocument>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const WebcamInfo info = WebcamInfo::fromJson(QJsonDocument::fromJson(bytes).object());
    for (qsizetype i = 1; i < info.placements.size(); ++i)
        if (info.placements[i].time < info.placements[i - 1].time) std::abort();
    for (double t : {-1.0, 0.0, 0.5, 1e9}) {
        const auto found = info.placement(t);
        if (found.has_value() == info.placements.isEmpty()) std::abort();
        if (found && !info.placements.contains(*found)) std::abort();
    }
    // What is read writes back to the same placements.
    if (WebcamInfo::fromJson(info.toJson()).placements != info.placements) std::abort();
    return 0;
}
