// The factories of pictavia-media.so: movies and GIFs read and movies written with FFmpeg,
// GIFs written with libimagequant palettes and giflib, movies drawn on, played and
// exported (layered frames composed in 4:2:0), their sound read and replaced, voices cleaned, and cameras.

#include "platform/media/DenoisingVoiceIsolator.h"
#include "platform/media/FfmpegCameras.h"
#include "platform/media/FfmpegMediaReader.h"
#include "platform/media/FfmpegMovieExporter.h"
#include "platform/media/FfmpegMoviePlayer.h"
#include "platform/media/FfmpegMovieRewriter.h"
#include "platform/media/FfmpegMovieSound.h"
#include "platform/media/FfmpegMovieWriter.h"
#include "platform/media/GiflibWriter.h"
#include "platform/modules/ModuleExport.h"

PICTAVIA_MODULE_EXPORT platform::MediaReader* pictavia_create_media_reader() {
    return new platform::media::FfmpegMediaReader;
}

PICTAVIA_MODULE_EXPORT platform::GifWriter* pictavia_create_gif_writer() {
    return new platform::media::GiflibWriter;
}

PICTAVIA_MODULE_EXPORT platform::MovieWriter* pictavia_create_movie_writer() {
    return new platform::media::FfmpegMovieWriter;
}

PICTAVIA_MODULE_EXPORT platform::MovieRewriter* pictavia_create_movie_rewriter() {
    return new platform::media::FfmpegMovieRewriter;
}

PICTAVIA_MODULE_EXPORT platform::Cameras* pictavia_create_cameras() {
    return new platform::media::FfmpegCameras;
}

PICTAVIA_MODULE_EXPORT platform::MoviePlayers* pictavia_create_movie_players() {
    return new platform::media::FfmpegMoviePlayers;
}

PICTAVIA_MODULE_EXPORT platform::MovieExporter* pictavia_create_movie_exporter() {
    return new platform::media::FfmpegMovieExporter;
}

PICTAVIA_MODULE_EXPORT platform::LayeredMovieExporter* pictavia_create_layered_movie_exporter() {
    return new platform::media::FfmpegMovieExporter;
}

PICTAVIA_MODULE_EXPORT platform::MovieSound* pictavia_create_movie_sound() {
    return new platform::media::FfmpegMovieSound;
}

PICTAVIA_MODULE_EXPORT platform::VoiceIsolator* pictavia_create_voice_isolator() {
    return new platform::media::DenoisingVoiceIsolator;
}
