#pragma once

namespace platform::media {

// Chosen by bench/record.sh against ffmpeg's own x11grab recordings at the same bit rate.
// Screen content is mostly still: the macroblock tree over a long look-ahead gives the still
// parts the bits, and buys more quality than the costly motion search of the slower presets
// (veryfast's quality at two thirds of its encoding time, on two cores).
inline constexpr const char* x264Preset = "ultrafast";
inline constexpr const char* x264Params =
    "cabac=1:mbtree=1:rc-lookahead=30:aq-mode=1:8x8dct=1:partitions=i8x8,i4x4";
inline constexpr const char* x265Preset = "ultrafast";

} // namespace platform::media
