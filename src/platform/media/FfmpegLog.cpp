#include "platform/media/FfmpegLog.h"

#include <QByteArray>
#include <QLoggingCategory>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <mutex>

Q_LOGGING_CATEGORY(lcMedia, "pictavia.media", QtInfoMsg)

namespace platform::media {

namespace {

void logFromFfmpeg(void* context, int level, const char* format, va_list args) {
    if (level > AV_LOG_WARNING || !lcMedia().isDebugEnabled()) return;
    char line[1024];
    int printPrefix = 1;
    av_log_format_line2(context, level, format, args, line, sizeof line, &printPrefix);
    qCDebug(lcMedia, "%s", QByteArray(line).trimmed().constData());
}

} // namespace

void quietFfmpegLog() {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_callback(&logFromFfmpeg); });
}

} // namespace platform::media
