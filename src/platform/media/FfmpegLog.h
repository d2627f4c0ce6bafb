#pragma once

namespace platform::media {

// Sends FFmpeg's messages (damaged files, encoder banners) to the "pictavia.media" logging
// category, off by default, instead of stderr. Enable with
// QT_LOGGING_RULES="pictavia.media.debug=true".
void quietFfmpegLog();

} // namespace platform::media
