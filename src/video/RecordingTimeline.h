#pragma once

#include "common/Result.h"
#include "recording/TrackingTypes.h"
#include "recording/WebcamInfo.h"
#include "video/CaptionLine.h"

#include <QJsonObject>

#include <optional>

// What travels with a studio recording in a file beside the movie: the clicks, the pointer's
// track and images, the size of what was recorded, the captions and the camera's places.
struct RecordingTimeline {
    static constexpr int currentVersion = 1;

    int version = currentVersion;
    QList<ClickMark> clicks;
    bool clicksTracked = false; // tracking ran, so no clicks means none were made
    QList<CursorSample> cursor;
    QList<CursorShape> cursorShapes;
    bool studio = false;
    double areaWidth = 0;
    double areaHeight = 0;
    QList<CaptionLine> captions;
    std::optional<QString> captionsLanguage;
    std::optional<bool> microphone;
    std::optional<WebcamInfo> webcam;

    QJsonObject toJson() const;
    static RecordingTimeline fromJson(const QJsonObject& object);
};

// The timeline file of a movie and the other files kept beside it (its camera movie, its
// cleaned sound). Side files are hidden, so the history lists the movie alone.
namespace TimelineStore {

// "clip.mov" → "clip.json".
QString path(const QString& movie);
// Written whole or not at all.
Result<bool> save(const RecordingTimeline& timeline, const QString& movie);
// None when there is no timeline; an error when there is one that cannot be read.
Result<std::optional<RecordingTimeline>> load(const QString& movie);
// Puts `captions` and their language into the timeline of `movie`, keeping everything else it
// holds; a movie without one gets a timeline of just the captions. A damaged timeline is left
// as it is and the save fails. The timeline as written.
Result<RecordingTimeline> saveCaptions(const QString& movie, const QList<CaptionLine>& captions,
                                       const std::optional<QString>& language);
// Where the side file of `role` ("camera", "audio") of `movie` lives: ".clip.camera.mov".
QString sidePath(const QString& movie, const QString& role, const QString& extension);
// Moves `file` to its place beside `movie`; returns that place.
Result<QString> keep(const QString& file, const QString& role, const QString& movie);
// The timeline and side files of `movie` (after the movie itself went away).
void remove(const QString& movie);

} // namespace TimelineStore
