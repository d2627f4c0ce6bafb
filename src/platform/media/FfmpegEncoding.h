#pragma once

extern "C" {
#include <libavutil/dict.h>
}

namespace platform::media {

// Chosen by bench/record.sh against ffmpeg's own x11grab recordings at the same bit rate.
// Screen content is mostly still: the macroblock tree over a long look-ahead gives the still
// parts the bits, and buys more quality than the costly motion search of the slower presets
// (veryfast's quality at two thirds of its encoding time, on two cores).
inline constexpr const char* x264Preset = "ultrafast";
inline constexpr const char* x264Params =
    "cabac=1:mbtree=1:rc-lookahead=30:aq-mode=1:8x8dct=1:partitions=i8x8,i4x4";
inline constexpr const char* x265Preset = "ultrafast";

// The software encoder's options (libx264 or libx265) for screen content.
inline AVDictionary* softwareEncoderOptions(bool hevc) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "preset", hevc ? x265Preset : x264Preset, 0);
    if (hevc) {
        av_dict_set(&options, "x265-params", "log-level=error", 0);
    } else {
        av_dict_set(&options, "profile", "high", 0);
        av_dict_set(&options, "x264-params", x264Params, 0);
    }
    return options;
}

} // namespace platform::media

namespace platform::media {

// Exports are encoded at a constant quality rather than a bit rate: a mostly still screen
// needs few bits and a zoom or a scroll gets what it needs. Chosen by bench/video_export.sh's
// recording (1080p screen work, 12 s, against ffmpeg's own encodes of it): veryfast at CRF 21
// keeps SSIM 0.993 at 1.3 Mbit/s; superfast needs 1.7 times the bits for 0.997 and ultrafast
// twice for 0.996, while faster costs 1.7 times the encoding time for no visible gain. At
// veryfast, x264 takes about three quarters of an export's time on two cores, which leaves
// room for drawing the studio look within one and a half times a plain re-encode.
inline constexpr const char* exportX264Preset = "veryfast";
inline constexpr const char* exportX265Preset = "ultrafast";
inline constexpr const char* exportX264Crf = "21";
inline constexpr const char* exportX265Crf = "25";

inline AVDictionary* exportEncoderOptions(bool hevc) {
    AVDictionary* options = nullptr;
    av_dict_set(&options, "preset", hevc ? exportX265Preset : exportX264Preset, 0);
    av_dict_set(&options, "crf", hevc ? exportX265Crf : exportX264Crf, 0);
    if (hevc)
        av_dict_set(&options, "x265-params", "log-level=error", 0);
    else
        av_dict_set(&options, "profile", "high", 0);
    return options;
}

} // namespace platform::media
