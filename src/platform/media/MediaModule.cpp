// The factory of pictavia-media.so: movies and GIFs read with FFmpeg.

#include "platform/media/FfmpegMediaReader.h"
#include "platform/modules/ModuleExport.h"

PICTAVIA_MODULE_EXPORT platform::MediaReader* pictavia_create_media_reader() {
    return new platform::media::FfmpegMediaReader;
}
