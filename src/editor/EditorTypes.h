#pragma once

#include "common/RawValues.h"

#include <QColor>

// The tools of the editor's toolbar, in toolbar order. `Select` and `Crop` never make
// an annotation.
enum class EditorTool {
    Select,
    Arrow,
    Line,
    Rect,
    Ellipse,
    Freehand,
    Highlight,
    Text,
    Emoji,
    Counter,
    Step,
    Blur,
    Spotlight,
    Crop
};

inline constexpr RawValues<EditorTool, 14> editorToolNames{{{
    {EditorTool::Select, "select"},
    {EditorTool::Arrow, "arrow"},
    {EditorTool::Line, "line"},
    {EditorTool::Rect, "rect"},
    {EditorTool::Ellipse, "ellipse"},
    {EditorTool::Freehand, "freehand"},
    {EditorTool::Highlight, "highlight"},
    {EditorTool::Text, "text"},
    {EditorTool::Emoji, "emoji"},
    {EditorTool::Counter, "counter"},
    {EditorTool::Step, "step"},
    {EditorTool::Blur, "blur"},
    {EditorTool::Spotlight, "spotlight"},
    {EditorTool::Crop, "crop"},
}}};

enum class BlurStyle { Pixelate, Gaussian };
inline constexpr RawValues<BlurStyle, 2> blurStyleNames{
    {{{BlurStyle::Pixelate, "pixelate"}, {BlurStyle::Gaussian, "gaussian"}}}};

enum class TextStyle { Plain, Filled, Outlined };
inline constexpr RawValues<TextStyle, 3> textStyleNames{
    {{{TextStyle::Plain, "plain"}, {TextStyle::Filled, "filled"}, {TextStyle::Outlined, "outlined"}}}};

// Aspect constraints of the crop tool.
enum class CropAspect { Free, Square, Wide, Standard, Photo, Portrait };
inline constexpr RawValues<CropAspect, 6> cropAspectNames{{{
    {CropAspect::Free, "free"},
    {CropAspect::Square, "square"},
    {CropAspect::Wide, "wide"},
    {CropAspect::Standard, "standard"},
    {CropAspect::Photo, "photo"},
    {CropAspect::Portrait, "portrait"},
}}};

// Width over height of an aspect, or 0 for `Free`: 1:1, 16:9, 4:3, 3:2 and 9:16.
double aspectRatio(CropAspect aspect);

// The fill of new margins when the canvas grows.
enum class CanvasFill { White, Black, Transparent };

// The red that new annotations start with.
inline QColor systemRed() {
    return QColor(255, 59, 48);
}
