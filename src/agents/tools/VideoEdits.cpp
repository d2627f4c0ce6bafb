#include "agents/tools/VideoEdits.h"

#include "editor/BackgroundStyle.h"

#include <QJsonArray>

#include <cmath>

using namespace ToolSchema;

namespace {

// A number within [min, max], or `fallback` when absent; out of range or unreadable throws.
double within(const ToolArgs& args, const QString& key, double min, double max, double fallback) {
    if (!args.has(key)) return fallback;
    const auto value = args.number(key);
    if (!value || *value < min || *value > max)
        failTool(QStringLiteral("`%1` is a number from %2 to %3.").arg(key).arg(min).arg(max));
    return *value;
}

bool flag(const ToolArgs& args, const QString& key, bool fallback) {
    if (!args.has(key)) return fallback;
    const auto value = args.boolean(key);
    if (!value) failTool(QStringLiteral("`%1` is true or false.").arg(key));
    return *value;
}

// A named choice: `parse` reads the text; unknown text throws with the names allowed.
template <typename T, typename Parse>
std::optional<T> choice(const ToolArgs& args, const QString& key, const QStringList& names, Parse parse) {
    const auto text = args.string(key);
    if (!text) return std::nullopt;
    if (const std::optional<T> value = parse(*text)) return value;
    failTool(
        QStringLiteral("Unknown %1 “%2”. Use one of: %3.").arg(key, *text, names.join(QStringLiteral(", "))));
}

// One of the names of `values`, or none when absent; unknown names throw.
template <typename E, size_t N>
std::optional<E> named(const ToolArgs& args, const QString& key, const RawValues<E, N>& values) {
    return choice<E>(args, key, values.raws(), [&](const QString& raw) { return values.parse(raw); });
}

QStringList backgroundNames() {
    QStringList names{QStringLiteral("none")};
    for (BackgroundStyle style : Backgrounds::pickerCases())
        if (style != BackgroundStyle::None) names << Backgrounds::raw(style);
    return names;
}

const QStringList outputNames{QStringLiteral("mp4"), QStringLiteral("gif")};

QStringList resolutionNames() {
    QStringList names;
    for (ExportResolution resolution : ExportResolutions::allCases())
        names << ExportResolutions::raw(resolution);
    return names;
}

void applyRange(const ToolArgs& args, VideoEditorModel& model) {
    const double duration = model.duration();
    const double start = within(args, QStringLiteral("trim_start"), 0, 1e7, 0);
    const double end = std::min(within(args, QStringLiteral("trim_end"), 0, 1e7, duration), duration);
    if (start >= duration)
        failTool(
            QStringLiteral("`trim_start` is past the end of the recording (%1 s).").arg(duration, 0, 'f', 2));
    if (end - start < 0.1) failTool(QStringLiteral("`trim_end` must be at least 0.1 s after `trim_start`."));
    model.setTrim(start, end);
}

void applySound(const ToolArgs& args, VideoEditorModel& model) {
    model.setMute(flag(args, QStringLiteral("mute"), false));
    model.setVolume(within(args, QStringLiteral("volume"), 0, 2, 1));
    model.setMonoAudio(flag(args, QStringLiteral("mono"), false));
}

void applyOutput(const ToolArgs& args, VideoEditorModel& model) {
    if (const auto codec = choice<RecordingCodec>(
            args, QStringLiteral("codec"), recordingCodecValues.raws(),
            [](const QString& raw) { return recordingCodecValues.parse(raw.toLower()); }))
        model.setCodec(*codec);
    if (const auto resolution = choice<ExportResolution>(args, QStringLiteral("resolution"),
                                                         resolutionNames(), ExportResolutions::parse))
        model.setResolution(*resolution);
}

// Automatic zooms toward the clicks, the moves placed by the agent, or both.
void applyZoom(const ToolArgs& args, VideoEditorModel& model, QStringList& notes) {
    const bool automatic = flag(args, QStringLiteral("zoom"), false);
    model.setZoomLevel(within(args, QStringLiteral("zoom_level"), 1.2, 3, 2));
    model.setZoomHold(within(args, QStringLiteral("zoom_hold"), 0.3, 6, 1.6));
    ZoomTrack track;
    if (automatic) {
        track = ZoomTrack::automatic(model.clicks(), model.zoomLevel(), model.zoomHold(), model.duration());
        if (model.clicks().isEmpty())
            notes << QStringLiteral(
                "No clicks were recorded with this video, so there is nothing to zoom toward "
                "automatically.");
    }
    const QJsonArray placed = args.array(QStringLiteral("zooms")).value_or(QJsonArray());
    for (const QJsonValue& value : placed) {
        const ToolArgs move(value.toObject());
        if (!value.isObject() || !move.has(QStringLiteral("time")))
            failTool(QStringLiteral("Each of `zooms` is an object with at least a `time`."));
        ZoomKeyframe frame;
        frame.time = within(move, QStringLiteral("time"), 0, model.duration(), 0);
        frame.level = within(move, QStringLiteral("level"), 1.2, 3, model.zoomLevel());
        frame.hold = within(move, QStringLiteral("hold"), 0.3, 6, model.zoomHold());
        frame.center = {within(move, QStringLiteral("x"), 0, 1, 0.5),
                        within(move, QStringLiteral("y"), 0, 1, 0.5)};
        track.keyframes.append(frame);
    }
    model.setZoomTrack(track);
    model.setZoomEnabled(!track.keyframes.isEmpty());
}

void applyFrame(const ToolArgs& args, StudioStyle& style) {
    if (const auto background = choice<BackgroundStyle>(
            args, QStringLiteral("background"), backgroundNames(), [](const QString& raw) {
                if (raw.compare(QLatin1String("none"), Qt::CaseInsensitive) == 0)
                    return std::optional<BackgroundStyle>(BackgroundStyle::None);
                for (BackgroundStyle candidate : Backgrounds::pickerCases())
                    if (raw.compare(Backgrounds::raw(candidate), Qt::CaseInsensitive) == 0 ||
                        raw.compare(Backgrounds::label(candidate), Qt::CaseInsensitive) == 0)
                        return std::optional<BackgroundStyle>(candidate);
                return std::optional<BackgroundStyle>();
            }))
        style.background = *background;
    style.padding = within(args, QStringLiteral("padding"), 0, 0.2, style.padding);
    style.shadow = flag(args, QStringLiteral("shadow"), style.shadow);
    if (const auto shape = named(args, QStringLiteral("shape"), studioShapeValues)) style.shape = *shape;
    if (const auto framing = named(args, QStringLiteral("framing"), studioFramingValues))
        style.framing = *framing;
    style.followPointer = flag(args, QStringLiteral("follow_pointer"), true);
}

void applyPointer(const ToolArgs& args, const VideoEditorModel& model, StudioStyle& style,
                  QStringList& notes) {
    const bool hasTrack = model.timeline() && !model.timeline()->cursor.isEmpty();
    if ((args.has(QStringLiteral("pointer_size")) || args.has(QStringLiteral("pointer_smoothing"))) &&
        !hasTrack)
        notes << QStringLiteral(
            "The pointer size and smoothing apply to studio recordings only; this one has no "
            "recorded pointer track.");
    style.pointerSize = within(args, QStringLiteral("pointer_size"), 0.6, 2.5, style.pointerSize);
    style.pointerSmoothing = within(args, QStringLiteral("pointer_smoothing"), 0, 1, style.pointerSmoothing);
    style.clickRipples = flag(args, QStringLiteral("click_ripples"), false);
    if (style.clickRipples && model.clicks().isEmpty())
        notes << QStringLiteral("No clicks were recorded with this video, so no ripples are drawn.");
}

// A recording without captions is transcribed by the caller once everything else has been
// checked (see Plan::transcribe).
void applyCaptions(const ToolArgs& args, StudioStyle& style) {
    style.captions = flag(args, QStringLiteral("captions"), false);
    if (const auto look = named(args, QStringLiteral("caption_look"), captionLookValues))
        style.captionLook = *look;
    if (const auto color = named(args, QStringLiteral("caption_color"), captionColorValues))
        style.captionColor = *color;
    if (const auto position = named(args, QStringLiteral("caption_position"), captionPositionValues))
        style.captionPosition = *position;
}

void applyCamera(const ToolArgs& args, const VideoEditorModel& model, StudioStyle& style,
                 QStringList& notes) {
    const QStringList keys{QStringLiteral("camera_position"), QStringLiteral("camera_size"),
                           QStringLiteral("camera_shape"), QStringLiteral("camera_blur")};
    if (!model.hasWebcam() &&
        std::any_of(keys.begin(), keys.end(), [&](const QString& key) { return args.has(key); }))
        notes << QStringLiteral(
            "This recording was made without the camera, so the camera options do not apply.");
    style.camera = flag(args, QStringLiteral("camera"), true);
    if (const auto position = named(args, QStringLiteral("camera_position"), cameraPositionValues))
        style.cameraPosition = *position;
    style.cameraSize = within(args, QStringLiteral("camera_size"), 0.5, 2.5, style.cameraSize);
    if (const auto shape = named(args, QStringLiteral("camera_shape"), cameraShapeValues))
        style.cameraShape = *shape;
    style.cameraBlur = flag(args, QStringLiteral("camera_blur"), false);
}

std::optional<VideoEditorModel::GifSettings> gifSettings(const ToolArgs& args) {
    const auto output = choice<QString>(args, QStringLiteral("output"), outputNames, [](const QString& raw) {
        const QString lower = raw.toLower();
        return outputNames.contains(lower) ? std::optional<QString>(lower) : std::nullopt;
    });
    if (output.value_or(QStringLiteral("mp4")) != u"gif") return std::nullopt;
    VideoEditorModel::GifSettings gif;
    gif.fps = int(std::lround(within(args, QStringLiteral("gif_fps"), 1, 30, 0)));
    gif.maxWidth = int(std::lround(within(args, QStringLiteral("gif_max_width"), 64, 3840, 0)));
    gif.quality =
        choice<GIFQuality>(args, QStringLiteral("gif_quality"), gifQualityValues.raws(),
                           [](const QString& raw) { return gifQualityValues.parse(raw.toLower()); });
    return gif;
}

} // namespace

namespace VideoEdits {

Plan apply(const ToolArgs& args, VideoEditorModel& model) {
    Plan plan;
    applyRange(args, model);
    applySound(args, model);
    applyOutput(args, model);
    applyZoom(args, model, plan.notes);
    StudioStyle style = model.style();
    applyFrame(args, style);
    applyPointer(args, model, style, plan.notes);
    applyCaptions(args, style);
    applyCamera(args, model, style, plan.notes);
    model.setStyle(style);
    plan.gif = gifSettings(args);
    if (style.captions && model.captions().isEmpty())
        plan.transcribe = args.string(QStringLiteral("caption_language")).value_or(QString());
    if (plan.gif && model.style().camera && model.hasWebcam())
        plan.notes << QStringLiteral("GIFs are made without the camera bubble.");
    return plan;
}

Properties properties() {
    const QJsonObject move = object(
        {
            {QStringLiteral("time"),
             number(QStringLiteral("When the zoom starts, seconds into the original video."), 0)},
            {QStringLiteral("level"), number(QStringLiteral("How far to zoom in (1.2 to 3)."), 1.2, 3)},
            {QStringLiteral("hold"), number(QStringLiteral("Seconds to hold this move."), 0.3, 6)},
            {QStringLiteral("x"), number(QStringLiteral("Zoom centre, 0 to 1 from the left."), 0, 1)},
            {QStringLiteral("y"), number(QStringLiteral("Zoom centre, 0 to 1 from the top."), 0, 1)},
        },
        {QStringLiteral("time")});
    return {
        {QStringLiteral("trim_start"), number(QStringLiteral("Start, in seconds. Default 0."), 0)},
        {QStringLiteral("trim_end"), number(QStringLiteral("End, in seconds. Default: the end."), 0)},
        {QStringLiteral("mute"), boolean(QStringLiteral("Remove the sound."))},
        {QStringLiteral("volume"), number(QStringLiteral("Audio volume, 0 to 2 (1 = unchanged)."), 0, 2)},
        {QStringLiteral("mono"), boolean(QStringLiteral("Mix the sound down to one channel."))},
        {QStringLiteral("codec"), string(QStringLiteral("Video codec (HEVC applies at original or 1080p)."),
                                         recordingCodecValues.raws())},
        {QStringLiteral("resolution"), string(QStringLiteral("Output size."), resolutionNames())},
        {QStringLiteral("zoom"),
         boolean(QStringLiteral("Auto-zoom toward the clicks recorded with the video."))},
        {QStringLiteral("zoom_level"),
         number(QStringLiteral("How far to zoom in (1.2 to 3). Default 2."), 1.2, 3)},
        {QStringLiteral("zoom_hold"),
         number(QStringLiteral("Seconds to stay zoomed in (0.3 to 6). Default 1.6."), 0.3, 6)},
        {QStringLiteral("zooms"),
         array(move,
               QStringLiteral("Zooms to place yourself (added to the automatic ones when zoom is true)."))},
        {QStringLiteral("follow_pointer"),
         boolean(QStringLiteral(
             "While zoomed in, pan with the pointer instead of holding still. Default true."))},
        {QStringLiteral("background"),
         string(QStringLiteral("Put the recording on a background (\"none\" for no background)."),
                backgroundNames())},
        {QStringLiteral("padding"),
         number(QStringLiteral(
                    "Space around the recording on the background, 0 to 0.2 of the frame. Default 0.06."),
                0, 0.2)},
        {QStringLiteral("shadow"),
         boolean(QStringLiteral("Shadow under the recording on a background. Default true."))},
        {QStringLiteral("shape"),
         string(QStringLiteral(
                    "Frame shape: original, wide (16:9), vertical (9:16, for Reels, Shorts and TikTok) or "
                    "square."),
                studioShapeValues.raws())},
        {QStringLiteral("framing"),
         string(QStringLiteral(
                    "For a shape other than original: \"fit\" shows all of it, \"follow\" fills the frame "
                    "and pans with the pointer."),
                studioFramingValues.raws())},
        {QStringLiteral("pointer_size"),
         number(QStringLiteral("Studio recordings: drawn pointer size, 0.6 to 2.5. Default 1."), 0.6, 2.5)},
        {QStringLiteral("pointer_smoothing"),
         number(QStringLiteral("Studio recordings: 0 (raw) to 1 (very smooth). Default 0.6."), 0, 1)},
        {QStringLiteral("click_ripples"), boolean(QStringLiteral("Draw a ripple at each recorded click."))},
        {QStringLiteral("captions"),
         boolean(QStringLiteral(
             "Burn captions into the video. Transcribes on this computer first if the recording "
             "has none."))},
        {QStringLiteral("caption_language"),
         string(
             QStringLiteral("Speech language for a new transcription, such as en-US. Default: the system's "
                            "language."))},
        {QStringLiteral("caption_position"),
         string(QStringLiteral("Where burned in captions sit."), captionPositionValues.raws())},
        {QStringLiteral("caption_look"),
         string(QStringLiteral("\"box\" puts captions on a dark box, \"outline\" draws outlined text."),
                captionLookValues.raws())},
        {QStringLiteral("caption_color"),
         string(QStringLiteral("Caption text colour."), captionColorValues.raws())},
        {QStringLiteral("camera"),
         boolean(
             QStringLiteral("Recordings made with the camera on: show the camera bubble. Default true."))},
        {QStringLiteral("camera_position"),
         string(QStringLiteral("Where the camera bubble goes. Default: where it was while recording."),
                cameraPositionValues.raws())},
        {QStringLiteral("camera_size"),
         number(QStringLiteral("Camera bubble size relative to the recorded bubble, 0.5 to 2.5. Default 1."),
                0.5, 2.5)},
        {QStringLiteral("camera_shape"),
         string(QStringLiteral("Camera bubble shape."), cameraShapeValues.raws())},
        {QStringLiteral("camera_blur"),
         boolean(QStringLiteral("Blur the background behind the person in the camera bubble."))},
        {QStringLiteral("output"), string(QStringLiteral("\"mp4\" (default) or \"gif\"."), outputNames)},
        {QStringLiteral("gif_fps"),
         integer(QStringLiteral("GIF frames a second (1 to 30). Default: the user's setting."), 1, 30)},
        {QStringLiteral("gif_max_width"), integer(QStringLiteral("GIF width cap in pixels."), 64, 3840)},
        {QStringLiteral("gif_quality"),
         string(QStringLiteral("GIF size/quality trade-off."), gifQualityValues.raws())},
    };
}

} // namespace VideoEdits
