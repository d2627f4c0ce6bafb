#include "history/HistoryRecord.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

namespace {

TEST(HistoryRecordTest, KindComesFromTheLowerCasedExtension) {
    EXPECT_EQ(HistoryRecord::kindOf("a.MP4"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.mov"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.m4v"), HistoryRecord::Kind::Video);
    EXPECT_EQ(HistoryRecord::kindOf("a.Gif"), HistoryRecord::Kind::Gif);
    EXPECT_EQ(HistoryRecord::kindOf("a.png"), HistoryRecord::Kind::Image);
    EXPECT_EQ(HistoryRecord::kindOf("no extension"), HistoryRecord::Kind::Image);
}

TEST(HistoryRecordTest, DurationLabels) {
    HistoryRecord r;
    EXPECT_FALSE(r.durationLabel());
    r.duration = 0;
    EXPECT_FALSE(r.durationLabel());
    r.duration = -3;
    EXPECT_FALSE(r.durationLabel());
    r.duration = 59.6;
    EXPECT_EQ(r.durationLabel(), "1:00");
    r.duration = 75.4;
    EXPECT_EQ(r.durationLabel(), "1:15");
    r.duration = 3600;
    EXPECT_EQ(r.durationLabel(), "60:00"); // minutes are not folded into hours
}

TEST(HistoryRecordTest, HaystackJoinsNameTextAppAndWindowLowerCased) {
    HistoryRecord r;
    r.name = "Shot.PNG";
    r.text = "Invoice\nTOTAL";
    r.app = "Mail";
    EXPECT_EQ(r.haystack(), "shot.png\ninvoice\ntotal\nmail\n");
    EXPECT_EQ(r.haystackUtf8(), r.haystack().toUtf8());
}

TEST(HistoryRecordTest, JsonKeysAndRoundTrip) {
    HistoryRecord r{"a.gif",
                    "hello",
                    std::nullopt,
                    std::nullopt,
                    QDateTime(QDate(2024, 5, 1), QTime(9, 5, 7), Qt::UTC),
                    HistoryRecord::Kind::Gif,
                    320,
                    200,
                    std::nullopt,
                    true};
    QJsonObject object = r.toJson();
    EXPECT_EQ(object.keys(), (QStringList{"date", "height", "keep", "kind", "name", "text", "width"}));
    EXPECT_EQ(object["date"].toString(), "2024-05-01T09:05:07Z");
    EXPECT_EQ(object["kind"].toString(), "gif");
    EXPECT_EQ(HistoryRecord::fromJson(object), r);

    r.app = "Mail";
    r.window = "Inbox";
    r.duration = 2.5;
    object = r.toJson();
    EXPECT_EQ(object.keys(), (QStringList{"app", "date", "duration", "height", "keep", "kind", "name", "text",
                                          "width", "window"}));
    EXPECT_EQ(HistoryRecord::fromJson(object), r);

    EXPECT_FALSE(HistoryRecord::fromJson(QJsonObject{{"text", "no name"}}));
    // An unknown kind falls back to the extension.
    EXPECT_EQ(HistoryRecord::fromJson(QJsonObject{{"name", "m.mov"}, {"kind", "hologram"}})->kind,
              HistoryRecord::Kind::Video);
}

TEST(HistoryRecordTest, HandWrittenJsonReadsBackThroughQt) {
    HistoryRecord r{"q\"uote\\.png",
                    QByteArray("line\nbreak\ttab \x01\x1f end \xe2\x82\xac"),
                    QString("Caf\u00e9"),
                    std::nullopt,
                    QDateTime(QDate(1999, 12, 31), QTime(23, 59, 58), Qt::UTC),
                    HistoryRecord::Kind::Video,
                    7,
                    -1,
                    0.1,
                    false};
    QByteArray bytes;
    r.appendJson(bytes);
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    ASSERT_EQ(error.error, QJsonParseError::NoError) << bytes.toStdString();
    EXPECT_EQ(document.object(), r.toJson());
    EXPECT_EQ(HistoryRecord::fromJson(document.object()), r);
    EXPECT_TRUE(bytes.startsWith("{\"name\":")) << bytes.toStdString();
}

TEST(HistoryRecordTest, IsoDatesBothWays) {
    const QDateTime date(QDate(2024, 2, 29), QTime(0, 0, 1), Qt::UTC);
    EXPECT_EQ(HistoryRecord::isoDate(date), date.toString(Qt::ISODate).toUtf8());
    EXPECT_EQ(HistoryRecord::dateFromIso("2024-02-29T00:00:01Z"), date);
    EXPECT_EQ(HistoryRecord::dateFromIso("2024-02-29T01:00:01+01:00"), date);
    EXPECT_FALSE(HistoryRecord::dateFromIso("2023-02-29T00:00:01Z").isValid());
    EXPECT_TRUE(HistoryRecord::isoDate({}).isEmpty());
}

TEST(HistoryRecordTest, LowerCasingUtf8MatchesQt) {
    const QByteArray text("Gr\xc3\x9c\xc3\x9f ABC \xce\xa3\xce\x91 \xe2\x82\xac"
                          "1");
    QByteArray lowered;
    HistoryRecord::appendLowerUtf8(lowered, text);
    EXPECT_EQ(lowered, QString::fromUtf8(text).toLower().toUtf8());
}

} // namespace
