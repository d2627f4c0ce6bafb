#pragma once

#include "common/RawValues.h"

// Enumerations stored in preferences as text. Raw values are the stored texts.

enum class QAOSize { small, medium, large };
inline constexpr RawValues qaoSizeValues{std::array{std::pair{QAOSize::small, "small"},
                                                    std::pair{QAOSize::medium, "medium"},
                                                    std::pair{QAOSize::large, "large"}}};

enum class ScrollAxis { automatic, vertical, horizontal };
inline constexpr RawValues scrollAxisValues{std::array{std::pair{ScrollAxis::automatic, "auto"},
                                                       std::pair{ScrollAxis::vertical, "vertical"},
                                                       std::pair{ScrollAxis::horizontal, "horizontal"}}};

enum class RecordingCodec { h264, hevc };
inline constexpr RawValues recordingCodecValues{
    std::array{std::pair{RecordingCodec::h264, "h264"}, std::pair{RecordingCodec::hevc, "hevc"}}};

// The cap on the longer side of a recording: none, 3840, 1920 and 1280 pixels.
enum class RecordingResolution { native, uhd, fullHD, hd };
inline constexpr RawValues recordingResolutionValues{
    std::array{std::pair{RecordingResolution::native, "native"}, std::pair{RecordingResolution::uhd, "uhd"},
               std::pair{RecordingResolution::fullHD, "fullHD"}, std::pair{RecordingResolution::hd, "hd"}}};

enum class GIFQuality { small, balanced, sharp };
inline constexpr RawValues gifQualityValues{std::array{std::pair{GIFQuality::small, "small"},
                                                       std::pair{GIFQuality::balanced, "balanced"},
                                                       std::pair{GIFQuality::sharp, "sharp"}}};

// What runs after a capture, and for which products.
enum class PostActionKind { none, script, shortcut };
inline constexpr RawValues postActionKindValues{std::array{std::pair{PostActionKind::none, "none"},
                                                           std::pair{PostActionKind::script, "script"},
                                                           std::pair{PostActionKind::shortcut, "shortcut"}}};

enum class PostActionScope { both, images, recordings };
inline constexpr RawValues postActionScopeValues{
    std::array{std::pair{PostActionScope::both, "both"}, std::pair{PostActionScope::images, "images"},
               std::pair{PostActionScope::recordings, "recordings"}}};
