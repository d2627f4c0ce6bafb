// The caption operations of the video editor model: editing and timing lines, finding in them,
// keeping them in the recording's timeline, and transcribing through a fake recogniser.
#include "video/CaptionCache.h"
#include "video/RecordingCaptions.h"
#include "video/VideoEditorModel.h"

#include "../support/CaptionLines.h"
#include "../support/EventLoop.h"
#include "../support/FakePlatform.h"
#include "../support/FakeSpeech.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

using namespace testsupport;
using Edge = VideoEditorModel::CaptionEdge;

class VideoEditorCaptionsTest : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        media->mediaInfo.duration = 10;
        media->mediaInfo.hasAudio = true;
        file = home.filePath(QStringLiteral("talk.mov"));
        QFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write("movie");
    }

    // A model of the movie holding `lines`, as edited by hand (nothing saved yet).
    std::unique_ptr<VideoEditorModel> modelWith(const QList<CaptionLine>& lines) {
        auto model = std::make_unique<VideoEditorModel>(file, false);
        model->setCaptions(lines);
        return model;
    }

    std::optional<RecordingTimeline> saved() const {
        auto loaded = TimelineStore::load(file);
        return loaded ? *loaded : std::nullopt;
    }

    QString file;
};

TEST_F(VideoEditorCaptionsTest, SplitMergeAddAndDeleteKeepTheLinesInOrder) {
    auto model = modelWith({captionLine(1, 3, "hello there my friend"), captionLine(4, 5, "bye")});
    const QUuid first = model->captions()[0].id;

    // Divided at the space nearest the middle; the time in proportion to the characters.
    ASSERT_TRUE(model->splitCaption(first));
    ASSERT_EQ(model->captions().size(), 3);
    EXPECT_EQ(model->captions()[0].id, first);
    EXPECT_EQ(model->captions()[0].text, "hello there");
    EXPECT_EQ(model->captions()[1].text, "my friend");
    EXPECT_DOUBLE_EQ(model->captions()[0].end, 1 + 2.0 * 11 / 20);
    EXPECT_DOUBLE_EQ(model->captions()[1].start, model->captions()[0].end);
    EXPECT_EQ(model->captions()[1].end, 3);
    // A single word has nowhere to divide.
    EXPECT_FALSE(model->splitCaption(model->captions()[2].id));

    ASSERT_TRUE(model->mergeWithNext(first));
    ASSERT_EQ(model->captions().size(), 2);
    EXPECT_EQ(model->captions()[0].text, "hello there my friend");
    EXPECT_EQ(model->captions()[0].end, 3);
    EXPECT_FALSE(model->mergeWithNext(model->captions()[1].id)) << "the last line has none after it";

    // Added at the playhead: two seconds, or up to the next line, or up to the movie's end.
    model->setPlayhead(3.5);
    const QUuid added = model->addCaptionAtPlayhead();
    ASSERT_EQ(model->captions().size(), 3);
    EXPECT_EQ(model->captions()[1].id, added);
    EXPECT_EQ(model->captions()[1].start, 3.5);
    EXPECT_EQ(model->captions()[1].end, 4);
    EXPECT_TRUE(model->captions()[1].text.isEmpty());
    model->setPlayhead(6);
    model->addCaptionAtPlayhead();
    EXPECT_EQ(model->captions()[3].end, 8);
    model->setPlayhead(10);
    model->addCaptionAtPlayhead();
    EXPECT_NEAR(model->captions()[4].start, 9.9, 1e-9);
    EXPECT_EQ(model->captions()[4].end, 10);

    model->removeCaption(added);
    EXPECT_EQ(model->captions().size(), 4);
    for (qsizetype i = 1; i < model->captions().size(); ++i)
        EXPECT_LE(model->captions()[i - 1].start, model->captions()[i].start);
}

TEST_F(VideoEditorCaptionsTest, NudgedEdgesStopAtTheNeighboursTheMovieAndTheLineItself) {
    auto model = modelWith({captionLine(0.05, 1, "a"), captionLine(2, 3, "b"), captionLine(3.5, 9.95, "c")});
    const QUuid a = model->captions()[0].id;
    const QUuid b = model->captions()[1].id;
    const QUuid c = model->captions()[2].id;

    EXPECT_TRUE(model->nudge(b, Edge::start, -0.1));
    EXPECT_NEAR(model->captions()[1].start, 1.9, 1e-9);
    EXPECT_TRUE(model->nudge(b, Edge::start, -5));
    EXPECT_EQ(model->captions()[1].start, 1) << "stops at the end of the line before";
    EXPECT_TRUE(model->nudge(b, Edge::end, 5));
    EXPECT_EQ(model->captions()[1].end, 3.5) << "stops at the start of the line after";
    EXPECT_TRUE(model->nudge(b, Edge::end, -5));
    EXPECT_NEAR(model->captions()[1].end, 1.1, 1e-9) << "a line keeps a tenth of a second";
    EXPECT_FALSE(model->nudge(b, Edge::start, 0.1)) << "its start cannot pass its end";

    EXPECT_TRUE(model->nudge(a, Edge::start, -0.1));
    EXPECT_EQ(model->captions()[0].start, 0) << "nothing starts before the movie";
    EXPECT_TRUE(model->nudge(c, Edge::end, 0.1));
    EXPECT_EQ(model->captions()[2].end, 10) << "nor ends after it";
    EXPECT_FALSE(model->nudge(c, Edge::end, 0.1));

    // Lines that overlap already are left as they are rather than pulled apart.
    auto overlapping = modelWith({captionLine(1, 3, "x"), captionLine(2, 4, "y")});
    EXPECT_FALSE(overlapping->nudge(overlapping->captions()[1].id, Edge::start, -0.1));
    EXPECT_EQ(overlapping->captions()[1].start, 2);
}

TEST_F(VideoEditorCaptionsTest, ReplacingCountsEveryOccurrenceAndTheCurrentLineFollowsThePlayhead) {
    auto model = modelWith({captionLine(1, 2, "pictavia records pictavia"), captionLine(2, 3, "Pictavia"),
                            captionLine(4, 5, "other")});
    EXPECT_EQ(model->replaceInCaptions("PICTAVIA", "Pictavia"), 3);
    EXPECT_EQ(model->captions()[0].text, "Pictavia records Pictavia");
    EXPECT_EQ(model->replaceInCaptions("nowhere", "x"), 0);
    EXPECT_EQ(model->replaceInCaptions("", "x"), 0);

    model->setPlayhead(0.5);
    EXPECT_FALSE(model->currentCaptionID().has_value());
    model->setPlayhead(1);
    EXPECT_EQ(model->currentCaptionID(), model->captions()[0].id);
    model->setPlayhead(2); // one line's end is the next one's start
    EXPECT_EQ(model->currentCaptionID(), model->captions()[1].id);
    model->setPlayhead(3.5);
    EXPECT_FALSE(model->currentCaptionID().has_value());
}

TEST_F(VideoEditorCaptionsTest, EditsAreSavedAfterAQuietMomentKeepingWhatElseTheTimelineHolds) {
    RecordingTimeline recorded;
    recorded.clicks = {{2, 0.3, 0.4}};
    recorded.clicksTracked = true;
    recorded.studio = true;
    recorded.captionsLanguage = "de-DE";
    recorded.captions = {captionLine(1, 2, "hallo")};
    ASSERT_TRUE(TimelineStore::save(recorded, file));

    VideoEditorModel model(file, false);
    EXPECT_EQ(model.captionLanguage(), "de-DE");
    model.setCaptionText(model.captions()[0].id, "hallo welt");
    EXPECT_EQ(saved()->captions[0].text, "hallo") << "saved at once rather than after a pause";
    ASSERT_TRUE(waitUntil([&] { return saved()->captions[0].text == "hallo welt"; }));
    const RecordingTimeline after = *saved();
    EXPECT_EQ(after.clicks.size(), 1);
    EXPECT_TRUE(after.studio);
    EXPECT_EQ(after.captionsLanguage, "de-DE");

    // A movie without a timeline gets one of its captions alone; a pending edit is saved when
    // the model goes with its window.
    QFile::remove(TimelineStore::path(file));
    {
        VideoEditorModel fresh(file, false);
        fresh.setPlayhead(4);
        fresh.addCaptionAtPlayhead();
    }
    ASSERT_TRUE(saved().has_value());
    EXPECT_EQ(saved()->captions.size(), 1);
    EXPECT_EQ(saved()->captions[0].start, 4);
    EXPECT_EQ(saved()->captionsLanguage, "en-US");
    EXPECT_FALSE(saved()->studio);
    EXPECT_TRUE(saved()->clicks.isEmpty());

    // A damaged timeline is not overwritten: the save says why it failed.
    QFile damaged(TimelineStore::path(file));
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write("{broken");
    damaged.close();
    VideoEditorModel broken(file, false);
    broken.setCaptions({captionLine(0, 1, "x")});
    EXPECT_FALSE(broken.saveCaptions());
    ASSERT_FALSE(toasts->shown.isEmpty());
    EXPECT_TRUE(toasts->shown.last().startsWith("Could not save captions: "))
        << toasts->shown.last().toStdString();
}

TEST_F(VideoEditorCaptionsTest, TranscribingReplacesTheLinesAndKeepsThemWithTheirLanguage) {
    FakeSpeech speech;
    speech.recognizer->words = {{"hello", 0.5, 0.3}, {"world", 0.9, 0.3}, {"again", 3.0, 0.4}};
    VideoEditorModel model(file, false);
    model.loadCaptionLanguages();
    EXPECT_EQ(model.captionLanguages(), QStringList{"en-US"});
    EXPECT_EQ(model.captionLanguage(), "en-US");
    model.setCaptions({captionLine(0, 1, "old")});
    QStringList finished;
    QObject::connect(&model, &VideoEditorModel::transcribeFinished,
                     [&](const QString& error) { finished << error; });

    bool sawTranscribing = false;
    QObject::connect(&model, &VideoEditorModel::changed, [&] { sawTranscribing |= model.transcribing(); });

    model.transcribe();
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 1; }));
    EXPECT_TRUE(sawTranscribing);
    EXPECT_FALSE(model.transcribing());
    EXPECT_EQ(finished[0], "");
    ASSERT_EQ(model.captions().size(), 2);
    EXPECT_EQ(model.captions()[0].text, "hello world");
    EXPECT_EQ(model.captions()[1].text, "again");
    EXPECT_TRUE(model.style().captions) << "captions asked for are shown";
    ASSERT_TRUE(saved().has_value());
    EXPECT_EQ(saved()->captions, model.captions());
    EXPECT_EQ(saved()->captionsLanguage, "en-US");
    EXPECT_EQ(speech.recognizer->heardIn, QStringList{"en-US"});
}

TEST_F(VideoEditorCaptionsTest, ATranscriptionThatFailsOrIsCancelledSaysWhyAndKeepsTheLines) {
    FakeSpeech speech;
    speech.recognizer->failure = Error{"The speech model is damaged."};
    VideoEditorModel model(file, false);
    model.setCaptions({captionLine(0, 1, "kept")});
    QStringList finished;
    QObject::connect(&model, &VideoEditorModel::transcribeFinished,
                     [&](const QString& error) { finished << error; });
    model.transcribe();
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 1; }));
    EXPECT_EQ(finished[0], "The speech model is damaged.");
    EXPECT_EQ(toasts->shown.last(), "The speech model is damaged.");
    EXPECT_EQ(model.captions()[0].text, "kept");

    // A language without its model installed says how to add it.
    model.setCaptionLanguage("de-DE");
    model.transcribe();
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 2; }));
    const QString message = finished[1];
    EXPECT_TRUE(message.startsWith("There is no on device speech model for de-DE on this computer."))
        << message.toStdString();
    EXPECT_TRUE(message.endsWith("Install the package for de-DE.")) << message.toStdString();
    EXPECT_FALSE(saved().has_value()) << "nothing is written for a failed transcription";

    // Cancelled: no toast, the lines as they were.
    const qsizetype toastsBefore = toasts->shown.size();
    model.setCaptionLanguage("en-US");
    speech.recognizer->failure.reset();
    speech.recognizer->untilCancelled = true;
    model.transcribe();
    model.cancelTranscription();
    ASSERT_TRUE(waitUntil([&] { return finished.size() == 3; }));
    EXPECT_EQ(finished[2], "Transcription cancelled");
    EXPECT_EQ(toasts->shown.size(), toastsBefore);
    EXPECT_EQ(model.captions()[0].text, "kept");
    EXPECT_FALSE(model.transcribing());
}

TEST_F(VideoEditorCaptionsTest, SubtitlesOfTheKeptRangeAndTheTranscriptGoWhereAsked) {
    auto model =
        modelWith({captionLine(1, 2, "before"), captionLine(3.5, 5, "inside"), captionLine(9, 9.5, "after")});
    model->setTrim(3, 8);
    const QString srt = home.filePath("talk.srt");
    EXPECT_TRUE(model->exportSRT(srt));
    EXPECT_EQ(toasts->shown.last(), "Captions saved");
    QFile written(srt);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), "1\n00:00:00,500 --> 00:00:02,000\ninside\n\n");

    EXPECT_FALSE(model->exportSRT(home.filePath("no/such/folder/talk.srt")));
    EXPECT_TRUE(toasts->shown.last().startsWith("Could not save captions: "))
        << toasts->shown.last().toStdString();

    model->copyTranscript();
    EXPECT_EQ(clipboard->texts.last(), "[0:01] before\n[0:03] inside\n[0:09] after");

    // Outside the editor, an existing file is replaced only when asked.
    EXPECT_FALSE(RecordingCaptions::writeSRT(model->captions(), srt, false));
    EXPECT_TRUE(RecordingCaptions::writeSRT(model->captions(), srt, true));
}

TEST_F(VideoEditorCaptionsTest, AnEditedTextIsDrawnAfreshNotFromTheCache) {
    StudioStyle style;
    style.captions = true;
    const CaptionCache cache(style);
    CaptionLine edited = captionLine(0, 1, "one");
    const QImage before = cache.image(edited, QSize(640, 360));
    edited.text = "a much longer line of text";
    const QImage after = cache.image(edited, QSize(640, 360));
    EXPECT_GT(after.width(), before.width());
}

} // namespace
